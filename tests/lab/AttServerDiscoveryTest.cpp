#include "AttServerFixture.h"

namespace lab {
namespace {

class AttServerDiscovery : public AttServerFixture {};

TEST_F(AttServerDiscovery, ListsServicesOfOneIdentifierSizePerAnswer) {
  EXPECT_EQ(ask("100100FFFF0028"),
            "1106"
            "010005000018"
            "060006000118"
            "07000C0040AA");
  EXPECT_EQ(ask("100D00FFFF0028"), "11140D0010004857E0A9E7C933A9464F0496F78A5385");
}

TEST_F(AttServerDiscovery, EndsTheListAfterTheLastService) {
  EXPECT_EQ(ask("101100FFFF0028"), "011011000A");
}

TEST_F(AttServerDiscovery, KnowsNoGroupsButPrimaryServices) {
  EXPECT_EQ(ask("100100FFFF0128"), "0110010010");
}

TEST_F(AttServerDiscovery, FindsAServiceByItsIdentifier) {
  EXPECT_EQ(ask("060100FFFF002840AA"), "0707000C00");
  EXPECT_EQ(ask("060100FFFF00284857E0A9E7C933A9464F0496F78A5385"), "070D001000");
  EXPECT_EQ(ask("060100FFFF0028FFFF"), "010601000A");
}

TEST_F(AttServerDiscovery, ListsCharacteristicsWithPropertiesAndValueHandle) {
  EXPECT_EQ(ask("0807000C000328"), "090708001A090041AA0B00020C00242A");
  EXPECT_EQ(ask("080D0010000328"), "09150E00200F00D86A436EAB07B9926D44AC0050DDBC23");
}

TEST_F(AttServerDiscovery, ListsDescriptors) {
  EXPECT_EQ(ask("040A000A00"), "05010A000229");
  EXPECT_EQ(ask("040F000F00"), "05020F00D86A436EAB07B9926D44AC0050DDBC23");
  EXPECT_EQ(ask("041100FFFF"), "010411000A");
}

TEST_F(AttServerDiscovery, FillsAnAnswerNoFurtherThanThePacketSize) {
  // In 23 bytes there is room for five handles with 16-bit types.
  EXPECT_EQ(ask("0401000600").size(), 2 * (2 + 5 * 4));
}

TEST_F(AttServerDiscovery, ReadsTheNameByItsType) {
  EXPECT_EQ(ask("080100FFFF002A"), "0907030042656E6368");
}

TEST_F(AttServerDiscovery, AgreesOnTheSmallerPacketSize) {
  EXPECT_EQ(ask("02B900"), "030502");
  EXPECT_EQ(server_.mtu(), 185U);
}

TEST_F(AttServerDiscovery, NeverGoesBelowTheDefaultPacketSize) {
  EXPECT_EQ(ask("020500"), "030502");
  EXPECT_EQ(server_.mtu(), 23U);
}

TEST_F(AttServerDiscovery, OffersNoMoreThanItIsAllowed) {
  AttServer small(model_, observer_, 64);
  EXPECT_EQ(toHex(small.receive(*fromHex("020502"))), "034000");
  EXPECT_EQ(small.mtu(), 64U);
}

TEST_F(AttServerDiscovery, RefusesRequestsThatItDoesNotKnow) {
  EXPECT_EQ(ask("0E09000C00"), "010E000006");
  EXPECT_EQ(ask("20"), "0120000006");
}

TEST_F(AttServerDiscovery, RefusesRequestsThatAreTooShort) {
  EXPECT_EQ(ask("0A09"), "010A000004");
  EXPECT_EQ(ask("10"), "0110000004");
}

TEST_F(AttServerDiscovery, DoesNotAnswerWhatIsNoRequest) {
  EXPECT_EQ(ask(""), "");
  EXPECT_EQ(ask("030502"), "");
  EXPECT_EQ(ask("1E"), "");
  EXPECT_EQ(ask("D2090001"), "");
  EXPECT_EQ(ask("52"), "");
}

TEST_F(AttServerDiscovery, KnowsNothingOfAWithdrawnService) {
  ask("120A000100");
  EXPECT_EQ(toHex(server_.withdraw(Uuid(0xAA40)).value()), "07000C00");
  EXPECT_EQ(ask("100700FFFF0028"),
            "1114"
            "0D001000"
            "4857E0A9E7C933A9464F0496F78A5385");
  EXPECT_EQ(ask("0807000C000328"), "010807000A");
  EXPECT_EQ(ask("0A0900"), "010A090001");
  EXPECT_EQ(ask("120A000100"), "01120A0001");
  EXPECT_EQ(pdu(0, {0x01}), "none");
  EXPECT_EQ(server_.withdraw(Uuid(0xAA40)), std::nullopt);
}

TEST_F(AttServerDiscovery, NamesTheStepOfARequest) {
  EXPECT_EQ(step("020502"), "mtu");
  EXPECT_EQ(step("100100FFFF0028"), "services");
  EXPECT_EQ(step("080100FFFF0328"), "characteristics");
  EXPECT_EQ(step("040A000A00"), "descriptors");
  EXPECT_EQ(step("0A0900"), "read:AA41");
  EXPECT_EQ(step("0C09000500"), "read:AA41");
  EXPECT_EQ(step("12090001"), "write:AA41");
  EXPECT_EQ(step("120A000100"), "subscribe:AA41");
  EXPECT_EQ(step("120A000000"), "unsubscribe:AA41");
  EXPECT_EQ(step("12100002"), "subscribe:23BCDD50-00AC-446D-92B9-07AB6E436AD8");
  EXPECT_EQ(step("0A9900"), "other");
  EXPECT_EQ(step(""), "other");
}

}  // namespace
}  // namespace lab
