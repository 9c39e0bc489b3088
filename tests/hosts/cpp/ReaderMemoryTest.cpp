// Tests the reader's promise to allocate no memory for a line.
#include <gtest/gtest.h>

#include <cstddef>
#include <string>

#include "ReadAll.h"
#include "support/AllocationCount.h"

namespace {

using host_test::framed;
using vornix_host::LineReader;

std::size_t readCounting(const std::string& output, bool decoding) {
  LineReader reader;
  int lines = 0;
  const auto readOnce = [&] {
    reader.feed(output);
    while (const auto line = reader.next()) {
      if (decoding) vornix_host::decode(*line);
      ++lines;
    }
  };
  readOnce();  // lets the buffer grow to its size
  const std::size_t before = support::allocationCount();
  for (int i = 0; i < 100; ++i) readOnce();
  EXPECT_GE(lines, 101);
  return support::allocationCount() - before;
}

TEST(ReaderMemory, TakesNoneForALine) {
  const std::string longLine = framed("PJSON;" + std::string(5000, '>') + ";");
  EXPECT_EQ(
      readCounting("<@00:00:00.000 : " + std::string(500, 'x') + ">\nstray\n" + longLine, false),
      0U);
}

TEST(ReaderMemory, TakesNoneForAMessageOfNumbers) {
  EXPECT_EQ(readCounting(framed("B;92;1;-1;4660;-12;0;1000;-129;-32768;32767;") +
                             framed("S;80;4660;0;") + framed("P1;10000000;") + "<C;3;0;4A3D>\n",
                         true),
            0U);
}

TEST(ReaderMemory, TakesOnePieceForATextOrItsBytes) {
  EXPECT_EQ(readCounting(framed("PJSON;" + std::string(5000, 'x') + ";"), true), 100U);
  EXPECT_EQ(readCounting(framed("PR1;" + std::string(480, 'A') + ";"), true), 100U);
}

}  // namespace
