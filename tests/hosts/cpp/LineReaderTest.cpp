#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "ReadAll.h"

namespace {

using namespace host_test;
using vornix_host::LineKind;
using vornix_host::LineReader;
using vornix_host::LogTime;

using Lines = std::vector<ReadLine>;

const std::string banner = "<@14:03:07.045 : Demarrage de Vornix 1.04>\n";

TEST(LineReader, DistinguishesLogLinesFromHostMessages) {
  EXPECT_EQ(readSoFar(banner + "<C;3;0;4A3D>\n"),
            (Lines{log("Demarrage de Vornix 1.04"), message("C;3;0;")}));
}

TEST(LineReader, GivesTheTimeAndAllBytesOfALogLine) {
  LineReader reader;
  reader.feed("<@23:59:58.999 : >\n");
  const auto line = reader.next();
  ASSERT_TRUE(line);
  EXPECT_EQ(line->time, (LogTime{23, 59, 58, 999}));
  EXPECT_EQ(line->text, "");
  EXPECT_EQ(line->bytes, "<@23:59:58.999 : >\n");
}

TEST(LineReader, ReportsAPayloadThatIsNotAsciiAsDamage) {
  const std::string output = framed("V\xC3\xA9;");
  EXPECT_EQ(readAll(output), Lines{damaged(output)});
}

TEST(LineReader, ReadsTheEmptyPayload) {
  EXPECT_EQ(readSoFar("<FFFF>\n"), Lines{message("")});
}

TEST(LineReader, LeavesTheTextOfALogLineAsItWasWritten) {
  EXPECT_EQ(readSoFar("<@00:00:00.000 : a&inf;b&sup;c & \xC3\xA9>\n"),
            Lines{log("a&inf;b&sup;c & \xC3\xA9")});
}

TEST(LineReader, ReadsALogTextWithLineBreaksAndNulBytes) {
  const std::string text("one\ntwo\r\nthree\0four", 19);
  EXPECT_EQ(readSoFar("<@00:00:00.000 : " + text + ">\n<C;3;0;4A3D>\n"),
            (Lines{log(text), message("C;3;0;")}));
}

TEST(LineReader, WaitsForTheRestOfALine) {
  EXPECT_EQ(readSoFar("<C;3;0;4A3D>"), Lines{});
  EXPECT_EQ(readSoFar("<"), Lines{});
  EXPECT_EQ(readSoFar("<@14:03:07.045 : x"), Lines{});
  EXPECT_EQ(readSoFar(""), Lines{});
}

TEST(LineReader, GivesTheSameLinesHoweverTheBytesAreCut) {
  const std::string output = banner + "<C;3;0;4A3D>\nstray\n<B;broken<C;3;0;4A3D>\n" +
                             framed("PJSON;{\r\n>\r\n0000>};", "PJSON;{\n>\n0000>};") +
                             "<C;3;0;4A3E>\n<FFFF>\n<PJSON;never ends\n<C;3;0;4A3D>\n<cut";
  const Lines whole = readAll(output);
  EXPECT_EQ(whole.size(), 11U);
  for (std::size_t size = 1; size < output.size(); ++size) {
    EXPECT_EQ(readAll(output, size), whole) << "in pieces of " << size;
  }
}

TEST(LineReader, GivesEveryByteOnceAndInOrder) {
  const std::string output = "x" + banner + "<C;3;0;0000>\n<C;3;0;4A3D><C;3;0;4A3D>\n<PJSON;\n<";
  LineReader reader;
  reader.feed(output);
  reader.finish();
  std::string bytes;
  while (const auto line = reader.next()) bytes += line->bytes;
  EXPECT_EQ(bytes, output);
}

TEST(LineReaderDamage, IsAWrongChecksumAndTheNextLineIsRead) {
  EXPECT_EQ(readSoFar("<C;3;0;4A3E>\n<C;3;0;4A3D>\n"),
            (Lines{damaged("<C;3;0;4A3E>\n"), message("C;3;0;")}));
}

TEST(LineReaderDamage, IsAnyChangedByteOfAHostMessage) {
  const std::string whole = "<C;3;0;4A3D>\n";
  for (std::size_t place = 0; place < whole.size(); ++place) {
    for (int change = 1; change < 256; ++change) {
      std::string output = whole;
      output[place] = static_cast<char>(output[place] ^ change);
      for (const ReadLine& line : readAll(output)) {
        EXPECT_NE(line.kind, LineKind::message) << place << " " << change;
      }
      EXPECT_EQ(readAll(output + whole).back(), message("C;3;0;")) << place << " " << change;
    }
  }
}

TEST(LineReaderDamage, IsAMessageWithAByteLost) {
  const std::string whole = "<C;3;0;4A3D>\n";
  for (std::size_t place = 0; place < whole.size(); ++place) {
    std::string output = whole;
    output.erase(place, 1);
    const Lines lines = readAll(output + whole);
    EXPECT_EQ(lines.back(), message("C;3;0;")) << place;
    EXPECT_EQ(lines.front().kind, LineKind::damaged) << place;
  }
}

TEST(LineReaderDamage, IsAChecksumInLowerCaseOrTooShort) {
  EXPECT_EQ(readSoFar("<C;3;0;4a3d>\n"), Lines{damaged("<C;3;0;4a3d>\n")});
  EXPECT_EQ(readSoFar("<FFF>\n<>\n"), (Lines{damaged("<FFF>\n"), damaged("<>\n")}));
}

TEST(LineReaderDamage, IsALineCutOffByTheNext) {
  EXPECT_EQ(readSoFar("<B;92;1;-1;<C;3;0;4A3D>\n"),
            (Lines{damaged("<B;92;1;-1;"), message("C;3;0;")}));
  EXPECT_EQ(readSoFar("<@14:03:07.0<C;3;0;4A3D>\n"),
            (Lines{damaged("<@14:03:07.0"), message("C;3;0;")}));
}

TEST(LineReaderDamage, IsALineBreakInAPayload) {
  EXPECT_EQ(readSoFar("<C;3;\n0;4A3D>\n<C;3;0;4A3D>\n"),
            (Lines{damaged("<C;3;\n"), damaged("0;4A3D>\n"), message("C;3;0;")}));
}

TEST(LineReaderDamage, IsAnyTextOutsideOfAFrame) {
  EXPECT_EQ(readSoFar("stray\n\n<C;3;0;4A3D>\n"),
            (Lines{damaged("stray\n"), damaged("\n"), message("C;3;0;")}));
  EXPECT_EQ(readSoFar("half<C;3;0;4A3D>\n"), (Lines{damaged("half"), message("C;3;0;")}));
}

TEST(LineReaderDamage, IsALogLineWithAnImpossibleTime) {
  for (const std::string line :
       {"<@24:00:00.000 : x>\n", "<@00:60:00.000 : x>\n", "<@00:00:60.000 : x>\n",
        "<@0a:00:00.000 : x>\n", "<@00-00:00.000 : x>\n", "<@00:00:00,000 : x>\n",
        "<@00:00:00.00 : x>\n", "<@00:00:00.000 :x>\n", "<@00:00:00.000 : >x>\n", "<@>\n"}) {
    const Lines lines = readAll(line + "<C;3;0;4A3D>\n");
    EXPECT_EQ(lines.front().kind, LineKind::damaged) << line;
    EXPECT_EQ(lines.back(), message("C;3;0;")) << line;
  }
}

TEST(LineReaderDamage, IsALineCutOffByTheEndOfTheOutput) {
  EXPECT_EQ(readAll(banner + "<B;92;1"),
            (Lines{log("Demarrage de Vornix 1.04"), damaged("<B;92;1")}));
  EXPECT_EQ(readAll("<C;3;0;4A3D>"), Lines{damaged("<C;3;0;4A3D>")});
}

TEST(LineReaderDamage, IsALineLongerThanTheLongest) {
  const std::string endless = "<" + std::string(LineReader::longestMessage, 'x');
  EXPECT_EQ(readSoFar(endless + "\n<C;3;0;4A3D>\n").back(), message("C;3;0;"));
  const std::string longLog =
      "<@00:00:00.000 : " + std::string(LineReader::longestLog - 19, 'x') + ">\n";
  EXPECT_EQ(readSoFar(longLog).front().kind, LineKind::log);
  const std::string longerLog = "<@00:00:00.000 : x" + longLog.substr(17);
  EXPECT_EQ(readSoFar(longerLog + "<C;3;0;4A3D>\n").front().kind, LineKind::damaged);
  EXPECT_EQ(readSoFar(longerLog + "<C;3;0;4A3D>\n").back(), message("C;3;0;"));
}

}  // namespace
