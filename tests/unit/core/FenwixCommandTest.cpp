#include <gtest/gtest.h>

#include <string>

#include "ComFenwix.h"
#include "GattIdentifiers.h"
#include "tests/unit/core/support/Case.h"
#include "tests/unit/core/support/HandlerTest.h"

namespace unit {
namespace {

class FenwixCommand : public HandlerTest<ComFenwix> {
 protected:
  FenwixCommand() : HandlerTest("Nomsuel") {}

  Entries receiving(const Bytes& notification) {
    return of([&] { handler.notifRecueFenwixCommand(notification); });
  }

  Entries writing(const std::function<void()>& act) {
    handler.characCommand = &command;
    return of(act);
  }

  static Entries written(std::string_view frame) {
    return {on(write(frame, charac_fenwix_command))};
  }

  HandMadeCharacteristic command{charac_fenwix_command};
};

Bytes replyOf(std::uint8_t code, std::string_view payload) {
  Bytes reply = {0xAA, code, static_cast<std::uint8_t>(payload.size()),
                 static_cast<std::uint8_t>(payload.size() / 256)};
  reply.insert(reply.end(), payload.begin(), payload.end());
  return reply;
}

TEST_F(FenwixCommand, WithoutAnArgumentIsAFrameOfThreeBytes) {
  EXPECT_EQ(writing([this] { handler.writeFenwixCommand(19); }), written("130000"));
  EXPECT_EQ(writing([this] { handler.writeFenwixCommand(0); }), written("000000"));
  EXPECT_EQ(writing([this] { handler.writeFenwixCommand(255); }), written("FF0000"));
}

TEST_F(FenwixCommand, WithAnIntIsAFrameOfSevenBytes) {
  EXPECT_EQ(writing([this] { handler.writeFenwixCommandInt(12, 100'000); }),
            written("0C0400A0860100"));
  EXPECT_EQ(writing([this] { handler.writeFenwixCommandInt(12, 4'294'967'295); }),
            written("0C0400FFFFFFFF"));
  EXPECT_EQ(writing([this] { handler.writeFenwixCommandInt(255, 0); }), written("FF040000000000"));
  EXPECT_EQ(writing([this] { handler.writeFenwixCommandInt(1, 0x12345678); }),
            written("01040078563412"));
}

TEST_F(FenwixCommand, WithAByteIsAFrameOfFourBytes) {
  EXPECT_EQ(writing([this] { handler.writeFenwixCommandByte(7, 1); }), written("07010001"));
  EXPECT_EQ(writing([this] { handler.writeFenwixCommandByte(255, 255); }), written("FF0100FF"));
  EXPECT_EQ(writing([this] { handler.writeFenwixCommandByte(0, 0); }), written("00010000"));
}

TEST_F(FenwixCommand, BeforeTheChannelIsDiscoveredStopsTheProcess) {
  expectAbort([this] { handler.writeFenwixCommand(19); });
  expectAbort([this] { handler.writeFenwixCommandInt(12, 1); });
  expectAbort([this] { handler.writeFenwixCommandByte(7, 1); });
}

TEST_F(FenwixCommand, DoesNotTouchTheReplyBeingReceived) {
  receiving({0xAA, 0x13, 3, 0, '['});
  writing([this] { handler.writeFenwixCommand(5); });
  EXPECT_EQ(handler.commandeEnCours, 19);
  EXPECT_EQ(handler.nbBytesARecevoir, 3);
  EXPECT_EQ(handler.nbBytesRecus, 1);
  EXPECT_EQ(receiving({'1', ']'}), Entries{message("PJSON;[1];")});
}

using FenwixReply = FenwixCommand;

TEST_F(FenwixReply, InOneNotificationIsSentAtOnce) {
  EXPECT_EQ(receiving({0xAA, 0x13, 0x03, 0x00, 0x5B, 0x31, 0x5D}), Entries{message("PJSON;[1];")});
}

TEST_F(FenwixReply, InTwoNotificationsIsSentAfterTheSecond) {
  EXPECT_EQ(receiving({0xAA, 0x13, 0x03, 0x00, 0x5B}), Entries{});
  EXPECT_EQ(receiving({0x31, 0x5D}), Entries{message("PJSON;[1];")});
}

TEST_F(FenwixReply, CutAtAnyByteIsTheSame) {
  const std::string json = "{\"nom\":\"Nomsuel\",\"v\":[1,2,3]}";
  const Bytes reply = replyOf(19, json);
  for (std::size_t first = 4; first <= reply.size(); ++first) {
    for (std::size_t second = first; second <= reply.size(); ++second) {
      const auto at = [&reply](std::size_t i) {
        return reply.begin() + static_cast<std::ptrdiff_t>(i);
      };
      Entries sent = receiving({at(0), at(first)});
      if (first < reply.size()) {
        EXPECT_EQ(sent, Entries{});
        sent = receiving({at(first), at(second)});
      }
      if (second < reply.size()) {
        EXPECT_EQ(sent, Entries{});
        sent = receiving({at(second), reply.end()});
      }
      ASSERT_EQ(sent, Entries{message("PJSON;" + json + ";")}) << first << ' ' << second;
      ASSERT_EQ(handler.nbBytesARecevoir, 0);
    }
  }
}

TEST_F(FenwixReply, OneByteAtATimeIsTheSame) {
  const std::string json = "[true,null]";
  Bytes reply = replyOf(19, json);
  EXPECT_EQ(receiving({reply.begin(), reply.begin() + 4}), Entries{});
  for (std::size_t i = 4; i + 1 < reply.size(); ++i) EXPECT_EQ(receiving({reply[i]}), Entries{});
  EXPECT_EQ(receiving({reply.back()}), Entries{message("PJSON;" + json + ";")});
}

TEST_F(FenwixReply, LeavesItsSurplusUnused) {
  EXPECT_EQ(receiving({0xAA, 0x13, 0x02, 0x00, 0x5B, 0x5D, 0x55}), Entries{message("PJSON;[];")});
  EXPECT_EQ(handler.nbBytesARecevoir, 0);
  EXPECT_EQ(receiving(replyOf(19, "[2]")), Entries{message("PJSON;[2];")});
}

TEST_F(FenwixReply, LeavesTheSurplusOfALaterNotificationUnused) {
  receiving({0xAA, 0x13, 0x02, 0x00, 0x5B});
  EXPECT_EQ(receiving({0x5D, 0xAA, 0x13, 0x00, 0x00}), Entries{message("PJSON;[];")});
  EXPECT_EQ(receiving(replyOf(19, "")), Entries{message("PJSON;;")});
}

TEST_F(FenwixReply, OfLengthZeroIsAnEmptyText) {
  EXPECT_EQ(receiving({0xAA, 0x13, 0x00, 0x00}), Entries{message("PJSON;;")});
  EXPECT_EQ(handler.nbBytesARecevoir, 0);
  EXPECT_TRUE(handler.buffer.empty());
}

TEST_F(FenwixReply, OfLengthZeroAndAnotherCodeIsDropped) {
  EXPECT_EQ(receiving({0xAA, 0x05, 0x00, 0x00}), Entries{});
  EXPECT_EQ(receiving(replyOf(19, "[]")), Entries{message("PJSON;[];")});
}

TEST_F(FenwixReply, OfAnotherCodeIsDroppedAndLeavesTheChannelIdle) {
  EXPECT_EQ(receiving({0xAA, 0x05, 0x03, 0x00, 0x01, 0x02, 0x03}), Entries{});
  EXPECT_EQ(handler.nbBytesARecevoir, 0);
  EXPECT_EQ(handler.commandeEnCours, 5);
  EXPECT_EQ(handler.nbBytesRecus, 3);
  EXPECT_EQ(handler.buffer, (Bytes{1, 2, 3}));
}

TEST_F(FenwixReply, OfAnyCodeBut19IsDropped) {
  for (int code = 0; code < 256; ++code) {
    const Entries expected = code == 19 ? Entries{message("PJSON;[];")} : Entries{};
    EXPECT_EQ(receiving(replyOf(static_cast<std::uint8_t>(code), "[]")), expected) << code;
  }
}

TEST_F(FenwixReply, OfAnotherCodeNeedNotBeText) {
  EXPECT_EQ(receiving({0xAA, 0x05, 0x02, 0x00, 0xFF, 0xFE}), Entries{});
}

TEST_F(FenwixReply, WithoutItsStartByteIsDroppedWhileIdle) {
  EXPECT_EQ(receiving({0x55, 0xAA, 0x13, 0x00, 0x00}), Entries{});
  EXPECT_EQ(receiving({0x55}), Entries{});
  EXPECT_EQ(receiving({0x13, 0x00, 0x00, 0x00}), Entries{});
  EXPECT_EQ(handler.commandeEnCours, 0);
  EXPECT_EQ(handler.nbBytesARecevoir, 0);
}

TEST_F(FenwixReply, InProgressTakesTheNextReplyAsItsPayload) {
  EXPECT_EQ(receiving({0xAA, 0x05, 0x0A, 0x00, 1, 2, 3, 4}), Entries{});
  EXPECT_EQ(receiving({0xAA, 0x13, 0x02, 0x00, 0x5B, 0x5D}), Entries{});
  EXPECT_EQ(handler.nbBytesARecevoir, 0);
  EXPECT_EQ(handler.buffer, (Bytes{1, 2, 3, 4, 0xAA, 0x13, 0x02, 0x00, 0x5B, 0x5D}));
  EXPECT_EQ(receiving(replyOf(19, "[3]")), Entries{message("PJSON;[3];")});
}

TEST_F(FenwixReply, InProgressIsNotChangedByAnEmptyNotification) {
  receiving({0xAA, 0x13, 0x02, 0x00, 0x5B});
  EXPECT_EQ(receiving({}), Entries{});
  EXPECT_EQ(handler.nbBytesARecevoir, 2);
  EXPECT_EQ(handler.nbBytesRecus, 1);
  EXPECT_EQ(receiving({0x5D}), Entries{message("PJSON;[];")});
}

TEST_F(FenwixReply, HasALittleEndianLength) {
  receiving({0xAA, 0x13, 0x34, 0x12});
  EXPECT_EQ(handler.nbBytesARecevoir, 0x1234);
  EXPECT_EQ(handler.buffer, Bytes(0x1234));
  EXPECT_EQ(handler.nbBytesRecus, 0);
}

TEST_F(FenwixReply, OfTheGreatestLengthIsSentWhole) {
  const std::string json = "[" + std::string(65533, '1') + "]";
  const Bytes reply = replyOf(19, json);
  for (std::size_t begin = 0; begin < reply.size();) {
    const std::size_t end = std::min(begin + 244, reply.size());
    const Entries sent = receiving({reply.begin() + static_cast<std::ptrdiff_t>(begin),
                                    reply.begin() + static_cast<std::ptrdiff_t>(end)});
    const bool isLast = end == reply.size();
    EXPECT_EQ(sent, isLast ? Entries{message("PJSON;" + json + ";")} : Entries{});
    begin = end;
  }
}

TEST_F(FenwixReply, IsSentUnchanged) {
  const std::string json = " {\"a\";<&>\t\"b\"} ";
  EXPECT_EQ(receiving(replyOf(19, json)), Entries{message("PJSON;" + json + ";")});
}

TEST_F(FenwixReply, KeepsItsLineBreaks) {
  handler.notifRecueFenwixCommand(replyOf(19, "[\n1,\r\n2]"));
  const std::string frame = message("PJSON;[\n1,\n2];");
  const std::string crc = frame.substr(frame.size() - 5);
  EXPECT_EQ(journal.bytes(), "<PJSON;[\n1,\r\n2];" + crc + "\n");
}

TEST_F(FenwixReply, FollowsAnotherWithoutAPause) {
  EXPECT_EQ(receiving(replyOf(19, "[1]")), Entries{message("PJSON;[1];")});
  EXPECT_EQ(receiving(replyOf(7, "zz")), Entries{});
  EXPECT_EQ(receiving(replyOf(19, "[22]")), Entries{message("PJSON;[22];")});
}

TEST_F(FenwixReply, EmptyWhileIdleStopsTheProcess) {
  expectAbort([this] { handler.notifRecueFenwixCommand({}); });
}

TEST_F(FenwixReply, WithAnIncompleteHeaderStopsTheProcess) {
  expectAbort([this] { handler.notifRecueFenwixCommand(Bytes{0xAA}); });
  expectAbort([this] { handler.notifRecueFenwixCommand(Bytes{0xAA, 0x13}); });
  expectAbort([this] { handler.notifRecueFenwixCommand(Bytes{0xAA, 0x13, 0x01}); });
}

TEST_F(FenwixReply, OfLengthZeroWithPayloadStopsTheProcess) {
  expectAbort([this] { handler.notifRecueFenwixCommand(Bytes{0xAA, 0x13, 0, 0, 0x5B}); });
  expectAbort([this] { handler.notifRecueFenwixCommand(Bytes{0xAA, 0x05, 0, 0, 1, 2}); });
}

struct BadJson : Case {
  std::string payload;
};

class FenwixJson : public FenwixCommand, public testing::WithParamInterface<BadJson> {};

TEST_P(FenwixJson, StopsTheProcess) {
  const Bytes reply = replyOf(19, GetParam().payload);
  expectAbort([&] { handler.notifRecueFenwixCommand(reply); });
}

INSTANTIATE_TEST_SUITE_P(ThatIsNotUtf8, FenwixJson,
                         testing::Values(BadJson{"StrayByte", "[\x80]"},
                                         BadJson{"Overlong", "[\xC0\xAF]"},
                                         BadJson{"Surrogate", "[\xED\xA0\x80]"},
                                         BadJson{"Truncated", "[\xE2\x82"},
                                         BadJson{"AboveTheLast", "\xF4\x90\x80\x80"}),
                         caseName);

// Valid UTF-8, but a host message may contain ASCII alone.
INSTANTIATE_TEST_SUITE_P(ThatIsNotAscii, FenwixJson,
                         testing::Values(BadJson{"Accent", "[\"\u00E9\"]"},
                                         BadJson{"Emoji", "[\"\U0001F600\"]"}),
                         caseName);

}  // namespace
}  // namespace unit
