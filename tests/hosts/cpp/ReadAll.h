// For tests of the reader: reads some output, and makes output with valid checksums.
#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdio>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "vornix_host.h"

namespace host_test {

struct ReadLine {
  vornix_host::LineKind kind;
  std::string text;  // for a damaged line its bytes

  bool operator==(const ReadLine&) const = default;

  friend void PrintTo(const ReadLine& line, std::ostream* out) {
    constexpr const char* kinds[] = {"log ", "message ", "damaged "};
    *out << kinds[static_cast<int>(line.kind)] << testing::PrintToString(line.text);
  }
};

inline ReadLine log(std::string text) {
  return {vornix_host::LineKind::log, std::move(text)};
}
inline ReadLine message(std::string payload) {
  return {vornix_host::LineKind::message, std::move(payload)};
}
inline ReadLine damaged(std::string bytes) {
  return {vornix_host::LineKind::damaged, std::move(bytes)};
}

inline void takeAll(vornix_host::LineReader& reader, std::vector<ReadLine>& lines) {
  while (const auto line = reader.next()) {
    const bool broken = line->kind == vornix_host::LineKind::damaged;
    lines.push_back({line->kind, std::string(broken ? line->bytes : line->text)});
  }
}

// The lines that are read while more output may come.
inline std::vector<ReadLine> readSoFar(std::string_view output) {
  vornix_host::LineReader reader;
  std::vector<ReadLine> lines;
  reader.feed(output);
  takeAll(reader, lines);
  return lines;
}

inline std::vector<ReadLine> readAll(std::string_view output, std::size_t pieceSize = 65536) {
  vornix_host::LineReader reader;
  std::vector<ReadLine> lines;
  for (; !output.empty(); output.remove_prefix(std::min(pieceSize, output.size()))) {
    reader.feed(output.substr(0, pieceSize));
    takeAll(reader, lines);
  }
  reader.finish();
  takeAll(reader, lines);
  return lines;
}

// The checksum computed by its definition, one bit at a time.
inline unsigned bitwiseChecksum(std::string_view characters) {
  unsigned crc = 0xFFFF;
  for (const char character : characters) {
    for (unsigned bit = 0x80; bit != 0; bit >>= 1U) {
      const bool one = (static_cast<unsigned char>(character) & bit) != 0;
      const bool carry = (crc & 0x8000U) != 0;
      crc = (crc << 1U & 0xFFFFU) ^ (one != carry ? 0x1021U : 0U);
    }
  }
  return crc;
}

// The payload in its frame, with the checksum of `summed`.
inline std::string framed(const std::string& payload, std::string_view summed) {
  char sum[5];
  std::snprintf(sum, sizeof sum, "%04X", bitwiseChecksum(summed));
  return "<" + payload + sum + ">\n";
}
inline std::string framed(const std::string& payload) {
  return framed(payload, payload);
}

}  // namespace host_test
