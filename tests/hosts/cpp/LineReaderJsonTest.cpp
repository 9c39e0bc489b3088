#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "ReadAll.h"

namespace {

using namespace host_test;
using vornix_host::LineKind;
using vornix_host::LineReader;

using Lines = std::vector<ReadLine>;

const std::string found = "<C;3;0;4A3D>\n";

TEST(JsonLine, KeepsAnyTextAsItIs) {
  for (const std::string text :
       {"", "[1]", "a;b", "{\n  \"a\": [1, 2]\n}", "<b>", ">", "\n<", "0000>", ";FFFF>", "\r",
        "x\ry", "> \n", "<V;3E2E>", "<@00:00:00.000 : x>", "PJSON;", "<PJSON;;"}) {
    const std::string payload = "PJSON;" + text + ";";
    EXPECT_EQ(readSoFar(framed(payload) + found), (Lines{message(payload), message("C;3;0;")}))
        << text;
  }
}

TEST(JsonLine, CountsCarriageReturnAndLineFeedAsOneCharacter) {
  const std::string output = framed("PJSON;{\r\n}\r\n;", "PJSON;{\n}\n;");
  EXPECT_EQ(readSoFar(output), Lines{message("PJSON;{\r\n}\r\n;")});
}

// JSON never contains ">" and a line feed together, so the reader takes them for a line's end; the
// rest of the device's text may look like lines.
TEST(JsonLine, IsDamagedWhereItsTextContainsTheEndOfALine) {
  const std::string whole = framed("PJSON;x>\n" + found + "y;");
  const Lines lines = readSoFar(whole);
  ASSERT_EQ(lines.size(), 3U);
  EXPECT_EQ(lines[0], damaged("<PJSON;x>\n"));
  EXPECT_EQ(lines[1], message("C;3;0;"));
  EXPECT_EQ(lines[2].kind, LineKind::damaged);
}

// The one ambiguity that remains: a text that contains a valid checksum and the end of a line.
TEST(JsonLine, EndsEarlyWhenItsTextContainsAValidEnd) {
  const std::string early = framed("PJSON;a;");
  const std::string whole = framed("PJSON;" + early.substr(7) + "b;");
  const Lines lines = readAll(whole);
  EXPECT_EQ(lines.front(), message("PJSON;a;"));
  EXPECT_EQ(lines.back().kind, LineKind::damaged);
}

TEST(JsonLine, OfTheGreatestLengthIsRead) {
  const std::string payload = "PJSON;" + std::string(65535, '>') + ";";
  const std::string output = framed(payload);
  EXPECT_EQ(output.size(), LineReader::longestMessage);
  EXPECT_EQ(readAll(output + found, 4096), (Lines{message(payload), message("C;3;0;")}));
}

TEST(JsonLine, ThatIsTooLongIsDamagedAndTheNextLineIsRead) {
  const std::string output = framed("PJSON;" + std::string(65536, 'x') + ";");
  const Lines lines = readSoFar(output + found);
  EXPECT_EQ(lines.front().kind, LineKind::damaged);
  EXPECT_EQ(lines.back(), message("C;3;0;"));
}

TEST(JsonLine, ThatIsDamagedDoesNotDelayTheNextLine) {
  const std::string broken = "<PJSON;{\"a\":1};0000>\n";
  EXPECT_EQ(readSoFar(broken + found), (Lines{damaged(broken), message("C;3;0;")}));
}

TEST(JsonLine, ThatWasCutOffTakesNoOtherLineWithIt) {
  EXPECT_EQ(readSoFar("<PJSON;{\"a\"" + found),
            (Lines{damaged("<PJSON;{\"a\""), message("C;3;0;")}));
}

// The end of a later line is not the end of the document, even if its checksum fits both.
TEST(JsonLine, ThatWasCutOffDoesNotEndWithALaterLine) {
  for (int i = 0; i < 1000000; ++i) {
    const std::string cut = "<PJSON;" + std::to_string(i);
    if (bitwiseChecksum(cut.substr(1) + found.substr(0, 7)) != 0x4A3D) continue;
    EXPECT_EQ(readAll(cut + found + found),
              (Lines{damaged(cut), message("C;3;0;"), message("C;3;0;")}));
    return;
  }
  FAIL() << "found no document with the checksum of the line";
}

TEST(JsonLine, ThatIsNotAsciiIsDamaged) {
  const std::string output = framed("PJSON;\xC3\xA9;");
  EXPECT_EQ(readAll(output), Lines{damaged(output)});
}

TEST(JsonLine, ThatWasCutOffIsDamaged) {
  EXPECT_EQ(readAll("<PJSON;{\"a\""), Lines{damaged("<PJSON;{\"a\"")});
  EXPECT_EQ(readAll("<PJSON;{}\n" + found), (Lines{damaged("<PJSON;{}\n"), message("C;3;0;")}));
}

// For each damaged line, whether it may be a document's text.
std::vector<bool> marks(const std::string& output) {
  LineReader reader;
  std::vector<bool> marked;
  reader.feed(output);
  reader.finish();
  while (const auto line = reader.next()) {
    if (line->kind == LineKind::damaged) marked.push_back(line->mayBeDocument);
  }
  return marked;
}

TEST(Damage, IsMarkedWhereItMayBeADocumentsText) {
  EXPECT_EQ(marks("stray\n<PJSON;{\n<V;"), (std::vector<bool>{false, true, true}));
  EXPECT_EQ(marks("<V;0000>\n<PJSO"), (std::vector<bool>{false, false}));
  for (const bool isNear : {true, false}) {
    const std::string text(LineReader::longestMessage - (isNear ? 20 : 19), 'x');
    const std::string far = framed("PJSON;[1];") + "<@00:00:00.000 : " + text + ">\ny\n";
    EXPECT_EQ(marks(far), std::vector<bool>{isNear});
  }
}

}  // namespace
