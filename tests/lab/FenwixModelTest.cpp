#include "lab/models/FenwixModel.h"

#include <numeric>

#include "RecordingLink.h"

namespace lab {
namespace {

using std::chrono::seconds;

class FenwixModelTest : public testing::Test, public Bench<FenwixModel> {
 protected:
  // The whole reply, put together from its notifications.
  std::string reply(std::string_view command) {
    EXPECT_EQ(write("3A93", command), AttError::none);
    const Values parts = sentBy(seconds(0));
    return std::accumulate(parts.begin(), parts.end(), std::string());
  }
};

TEST_F(FenwixModelTest, IdentifiesItselfWithNumbersOfFourBytes) {
  EXPECT_EQ(read("2A25"), "E2D40100");
  EXPECT_EQ(read("2A24"), "02000000");
  EXPECT_EQ(read("2A28"), "04010000");
  EXPECT_EQ(read("2A27"), "03000000");
  EXPECT_EQ(read("2A23"), "07000000");
  EXPECT_EQ(read("2A19"), "57");
  EXPECT_EQ(read("2BEB"), "01");
}

TEST_F(FenwixModelTest, PutsACharacteristicLastInItsServiceOnDemand) {
  EXPECT_TRUE(model_.control("fault last=2A24"));
  reconnect();
  std::string order;
  for (const auto& characteristic : model_.services()[2].characteristics) {
    order += characteristic.uuid + ' ';
  }
  EXPECT_EQ(order, "2A28 2A27 2A25 2A23 2A24 ");
  EXPECT_EQ(read("2A24"), "02000000");
}

TEST_F(FenwixModelTest, StreamsEachSignalWhileItIsSubscribed) {
  subscribe("3A89");
  subscribe("3A87");
  EXPECT_EQ(sentBy(seconds(0)), (Values{"00000000", "000000000000FD0FFA1FF72FF43FF14FEE5FEB6F"}));
  subscribe("3A87", false);
  subscribe("3A89", false);
  subscribe("3A90");
  EXPECT_EQ(sentBy(seconds(1)), Values{"00000000"});
  EXPECT_EQ(link_.indices_.front(), at("3A90"));
}

TEST_F(FenwixModelTest, RmsValuesContainTheirNumber) {
  EXPECT_EQ(toHex(FenwixModel::rms(1)), "00008037");       // 1 / 65536
  EXPECT_EQ(toHex(FenwixModel::rms(0x8000)), "0000003F");  // 0.5
}

TEST_F(FenwixModelTest, AnswersWithADocumentCutIntoNotifications) {
  subscribe("3A93");
  model_.control("json 40");
  EXPECT_EQ(write("3A93", "130000"), AttError::none);
  const Values sent = sentBy(seconds(0));
  ASSERT_EQ(sent.size(), 3U);
  EXPECT_EQ(sent[0].substr(0, 8), "AA132800");
  EXPECT_EQ(sent[0].size(), 2 * 20U);
  EXPECT_EQ(sent[2].size(), 2 * 4U);
}

TEST_F(FenwixModelTest, AnswersWithALongDocument) {
  subscribe("3A93");
  link_.largest_ = 182;
  model_.control("json 60000");
  const std::string whole = reply("130000");
  EXPECT_EQ(whole.substr(0, 8), "AA1360EA");
  EXPECT_EQ(whole.substr(8), toHex(FenwixModel::document(60000)));
  EXPECT_EQ(link_.values_.size(), 330U);
}

TEST_F(FenwixModelTest, DocumentsHaveExactlyTheirLength) {
  for (std::size_t length = 0; length < 120; ++length) {
    EXPECT_EQ(FenwixModel::document(length).size(), length);
  }
  const Bytes text = FenwixModel::document(60);
  EXPECT_EQ(std::string(text.begin(), text.end()),
            "{\"device\":\"Nomsuel\",\"notes\":\"mesure etalonnee; ...........\"}");
}

TEST_F(FenwixModelTest, AnswersOtherCommandsWithTheirArgument) {
  subscribe("3A93");
  EXPECT_EQ(reply("0C0400A0860100"), "AA0C0400A0860100");
  EXPECT_EQ(reply("07010001"), "AA07010001");
  EXPECT_EQ(reply("050000"), "AA050000");
}

TEST_F(FenwixModelTest, RefusesACommandOfTheWrongLength) {
  EXPECT_EQ(write("3A93", "1300"), AttError::invalidValueLength);
  EXPECT_EQ(write("3A93", "13010000FF"), AttError::invalidValueLength);
}

TEST_F(FenwixModelTest, DoesNotReplyWithoutASubscription) {
  EXPECT_EQ(reply("130000"), "");
}

TEST_F(FenwixModelTest, AnswersWithGivenBytesOnDemand) {
  subscribe("3A93");
  EXPECT_TRUE(model_.control("fault reply=AA13"));
  EXPECT_EQ(reply("130000"), "AA13");
  EXPECT_TRUE(model_.control("fault reply=AA1300005B"));
  EXPECT_EQ(reply("130000"), "AA1300005B");
  EXPECT_TRUE(model_.control("fault clear"));
  EXPECT_EQ(reply("050000"), "AA050000");
}

TEST_F(FenwixModelTest, BreaksOffAReplyOnDemand) {
  subscribe("3A93");
  model_.control("json 10");
  EXPECT_TRUE(model_.control("fault reply-cut=7"));
  EXPECT_EQ(reply("130000"), "AA130A00313131");
}

TEST_F(FenwixModelTest, CutsAReplyIntoPartsOfOneSize) {
  subscribe("3A93");
  model_.control("json 5");
  EXPECT_TRUE(model_.control("fault reply-part=4"));
  write("3A93", "130000");
  EXPECT_EQ(sentBy(seconds(0)), (Values{"AA130500", "31313131", "31"}));
}

TEST_F(FenwixModelTest, MakesTheDocumentInvalidUtf8OnDemand) {
  subscribe("3A93");
  model_.control("json 4");
  EXPECT_TRUE(model_.control("fault invalid-utf8"));
  EXPECT_EQ(reply("130000"), "AA1304003131FF31");
}

TEST_F(FenwixModelTest, ReportsASerialNumberOfZeroOnDemand) {
  EXPECT_TRUE(model_.control("fault value=2A25:00000000"));
  EXPECT_EQ(read("2A25"), "00000000");
}

TEST_F(FenwixModelTest, RefusesInvalidSettings) {
  for (const char* line : {"json 65536", "json", "health 256", "fault reply=A",
                           "fault reply-part=0", "fault reply-cut=x", "fault invalid-utf8=1"}) {
    EXPECT_FALSE(model_.control(line)) << line;
  }
}

}  // namespace
}  // namespace lab
