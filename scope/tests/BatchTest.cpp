#include "scope/watch/Batch.h"

#include <gtest/gtest.h>

#include "scope/watch/Json.h"
#include "vornix_host.h"

namespace scope {
namespace {

TEST(Batch, HasEveryValueOfEveryStream) {
  Batch batch;
  const auto add = [&](Time time, std::string_view payload) {
    batch.add(time, vornix_host::decodePayload(payload));
  };
  add(1, "B;92;1;-1;4660;-12;0;1000;-129;-32768;32767;");
  add(2, "B;-1;2;0;0;0;0;0;0;0;0;");
  add(3, "S;90;4660;10;");
  add(4, "P1;9223371487098961920;");
  add(5, "P2;-1;");
  add(6, "PR1;01A0FF;");
  add(7, "PR2;;");
  add(8, "K;MC;1;2;16777215;");
  EXPECT_EQ(batch.values(), 8U);
  EXPECT_EQ(batch.take(),
            R"("probe":[[3],[4660],[10]],"motion":[[1,2],[1,2],[-1,0],[4660,0],[-12,0],[0,0],)"
            R"([1000,0],[-129,0],[-32768,0],[32767,0]],"contraction":[[8],[1],[2],[16777215]],)"
            R"("rms1":[[4],[9223371487098961920]],"rms2":[[5],[-1]],)"
            R"("raw1":[[6],["01A0FF"]],"raw2":[[7],[""]])");
  EXPECT_TRUE(batch.isEmpty());
}

TEST(Batch, TellsTheLogAsText) {
  Batch batch;
  batch.add(1, vornix_host::LogEntry{{}, "a \"b\"\n\xFF\xC3\xA9"});
  batch.add({Kind::input, 2, "kill\r\n"});
  EXPECT_EQ(batch.take(),
            "\"log\":[[1,\"bridge\",\"a \\\"b\\\"\\u000a\xEF\xBF\xBD\xC3\xA9\"],"
            "[2,\"host\",\"kill\"]]");
}

TEST(Batch, LogsWhatIsNoCurve) {
  Batch batch;
  for (const char* payload :
       {"C;1;", "V;", "K;NC;7;", "K;EC;3;", "PJSON;[1];", "Z;2;", "C;4;0;87;0;", "P0;87;1;"}) {
    batch.add(1, vornix_host::decodePayload(payload));
  }
  EXPECT_EQ(batch.take(),
            R"("calibration":[[1],[7]],"calibration_error":[[1],[3]],)"
            R"("log":[[1,"message","C;1;"],[1,"message","V;"],[1,"message","K;NC;7;"],)"
            R"([1,"message","K;EC;3;"],[1,"message","PJSON; 3 bytes"],[1,"message","Z;2;"]])");
}

TEST(Json, HasOnlyCharactersThatAreWellFormed) {
  // Each is too long, too large, a surrogate, cut off, or a byte that no character begins with.
  for (const char* text : {"\xC0\x80", "\xE0\x80\x80", "\xED\xA0\x80", "\xF0\x80\x80\x80",
                           "\xF4\x90\x80\x80", "\xE2\x82", "\x80", "\xF5"}) {
    std::string json;
    json::append(json, std::string_view(text));
    EXPECT_TRUE(json.starts_with("\"\xEF\xBF\xBD")) << text;
    EXPECT_EQ((json.size() - 2) % 3, 0U) << text;
  }
}

}  // namespace
}  // namespace scope
