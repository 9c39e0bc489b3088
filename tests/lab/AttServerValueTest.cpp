#include "AttServerFixture.h"

namespace lab {
namespace {

using Events = std::vector<std::string>;

class AttServerValue : public AttServerFixture {};

TEST_F(AttServerValue, ReadsTheModelsValue) {
  model_.values_[0] = Bytes{0x12, 0x34};
  EXPECT_EQ(ask("0A0900"), "0B1234");
  EXPECT_EQ(observer_.events_, Events{"read AA41"});
}

TEST_F(AttServerValue, ReadsAnEmptyValue) {
  EXPECT_EQ(ask("0A0900"), "0B");
}

TEST_F(AttServerValue, PassesOnTheModelsRefusalToBeRead) {
  model_.values_[0] = AttError::insufficientAuthentication;
  EXPECT_EQ(ask("0A0900"), "010A090005");
  EXPECT_EQ(observer_.events_, Events{"refused read:AA41"});
}

TEST_F(AttServerValue, DoesNotReadWhatHasNoReadProperty) {
  EXPECT_EQ(ask("0A0F00"), "010A0F0002");
  EXPECT_EQ(model_.reads_, 0);
}

TEST_F(AttServerValue, RefusesHandlesThatDoNotExist) {
  EXPECT_EQ(ask("0A0000"), "010A000001");
  EXPECT_EQ(ask("0A1100"), "010A110001");
  EXPECT_EQ(ask("12110001"), "0112110001");
}

TEST_F(AttServerValue, ReadsALongValueInPartsOfOneRead) {
  model_.values_[0] = Bytes(30, 0xAB);
  EXPECT_EQ(ask("0A0900").size(), 2 * 23U);
  model_.values_[0] = Bytes(30, 0xCD);  // a new value does not mix with the one being read
  EXPECT_EQ(ask("0C09001600"), "0DABABABABABABABAB");
  EXPECT_EQ(ask("0C09001E00"), "0D");
  EXPECT_EQ(ask("0C09001F00"), "010C090007");
  EXPECT_EQ(model_.reads_, 1);
}

TEST_F(AttServerValue, WritesAndAcknowledges) {
  EXPECT_EQ(ask("1209000102"), "13");
  EXPECT_EQ(std::get<Bytes>(model_.values_[0]), (Bytes{1, 2}));
  EXPECT_EQ(observer_.events_, Events{"wrote AA41 0102"});
}

TEST_F(AttServerValue, PassesOnTheModelsRefusalToBeWritten) {
  model_.writeRefusal_ = AttError::unlikely;
  EXPECT_EQ(ask("12090001"), "011209000E");
  EXPECT_EQ(observer_.events_, Events{"refused write:AA41"});
}

TEST_F(AttServerValue, DoesNotWriteWhatHasNoWriteProperty) {
  EXPECT_EQ(ask("120C0001"), "01120C0003");
  EXPECT_EQ(ask("12030001"), "0112030003");
}

TEST_F(AttServerValue, TakesACommandWithoutAnswer) {
  EXPECT_EQ(ask("52090007"), "");
  EXPECT_EQ(observer_.events_, Events{"wrote AA41 07"});
}

TEST_F(AttServerValue, AssemblesALongWrite) {
  EXPECT_EQ(ask("16090000000102"), "17090000000102");
  EXPECT_EQ(ask("160900020003"), "170900020003");
  EXPECT_EQ(ask("1801"), "19");
  EXPECT_EQ(observer_.events_, Events{"wrote AA41 010203"});
}

TEST_F(AttServerValue, ForgetsALongWriteThatIsCancelled) {
  ask("16090000000102");
  EXPECT_EQ(ask("1800"), "19");
  EXPECT_EQ(ask("1801"), "19");
  EXPECT_EQ(observer_.events_, Events{});
}

TEST_F(AttServerValue, RefusesALongWriteWithAGap) {
  ask("16090000000102");
  ask("160900050003");
  EXPECT_EQ(ask("1801"), "0118090007");
  EXPECT_EQ(observer_.events_, Events{});
}

TEST_F(AttServerValue, RefusesALongWriteBeyondTheLongestValue) {
  const std::string part(2 * 256, '0');
  ask("1609000000" + part);
  ask("1609000001" + part);
  ask("160900000200");
  EXPECT_EQ(ask("1801"), "011809000D");
  EXPECT_EQ(observer_.events_, Events{});
}

TEST_F(AttServerValue, RefusesToPrepareWhatCannotBeWritten) {
  EXPECT_EQ(ask("160C00000001"), "01160C0003");
}

TEST_F(AttServerValue, SendsNothingBeforeTheSubscription) {
  EXPECT_EQ(pdu(0, {1}), "none");
}

TEST_F(AttServerValue, SendsNotificationsWhileSubscribed) {
  EXPECT_EQ(ask("120A000100"), "13");
  EXPECT_EQ(ask("0A0A00"), "0B0100");
  EXPECT_EQ(pdu(0, {1, 2}), "1B09000102");
  EXPECT_EQ(pdu(0, {}), "1B0900");
  EXPECT_EQ(ask("120A000000"), "13");
  EXPECT_EQ(pdu(0, {1}), "none");
  EXPECT_EQ(model_.subscriptions_, (Events{"+0", "-0"}));
  EXPECT_EQ(observer_.events_, (Events{"subscribed AA41", "unsubscribed AA41"}));
}

TEST_F(AttServerValue, TellsTheModelOnlyOfChanges) {
  ask("120A000100");
  ask("120A000100");
  EXPECT_EQ(model_.subscriptions_, Events{"+0"});
}

TEST_F(AttServerValue, PassesOnARefusedSubscription) {
  model_.subscribeRefusal_ = AttError::insufficientAuthentication;
  EXPECT_EQ(ask("120A000100"), "01120A0005");
  EXPECT_EQ(pdu(0, {1}), "none");
  EXPECT_EQ(observer_.events_, Events{"refused subscribe:AA41"});
}

TEST_F(AttServerValue, RefusesAConfigurationThatIsNotOffered) {
  EXPECT_EQ(ask("120A000200"), "01120A00FD");
  EXPECT_EQ(ask("120A0001"), "01120A000D");
}

TEST_F(AttServerValue, CutsAValueToThePacketSize) {
  ask("120A000100");
  EXPECT_EQ(pdu(0, Bytes(30, 0)).size(), 2 * 23U);
}

TEST_F(AttServerValue, AwaitsTheConfirmationOfAnIndication) {
  ask("1210000200");
  EXPECT_TRUE(server_.indicates(2));
  EXPECT_EQ(pdu(2, {9}), "1D0F0009");
  EXPECT_TRUE(server_.isAwaitingConfirmation());
  ask("1E");
  EXPECT_FALSE(server_.isAwaitingConfirmation());
}

}  // namespace
}  // namespace lab
