// A recording's bytes: docs/recording.md. Eight bytes that name the format, then records, each of
// them sound or recognizably not.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "scope/Piece.h"

namespace scope {

constexpr std::string_view kFormatName = "VNXREC1\n";

// Bytes of a record before those of its piece: their number (4), the sum (4), kind (1), time (8).
constexpr std::size_t kRecordHead = 17;
constexpr std::size_t kLongestRecord = std::size_t{2} << 20U;  // bytes of a piece

// CRC-32 as zlib, gzip and PNG have it.
class Crc32 {
 public:
  constexpr void add(std::string_view bytes) {
    for (const char byte : bytes) {
      crc_ = kTable[(crc_ ^ static_cast<unsigned char>(byte)) & 0xFFU] ^ (crc_ >> 8U);
    }
  }
  constexpr std::uint32_t value() const { return ~crc_; }

 private:
  static constexpr std::array<std::uint32_t, 256> kTable = [] {
    std::array<std::uint32_t, 256> table{};
    for (std::uint32_t i = 0; i < 256; ++i) {
      std::uint32_t value = i;
      for (int bit = 0; bit < 8; ++bit) value = (value >> 1U) ^ ((value & 1U) * 0xEDB88320U);
      table[i] = value;
    }
    return table;
  }();

  std::uint32_t crc_ = 0xFFFFFFFF;
};

constexpr std::uint32_t crc32(std::string_view bytes) {
  Crc32 crc;
  crc.add(bytes);
  return crc.value();
}
static_assert(crc32("123456789") == 0xCBF43926);

// Appends the piece as a record, or as several where it is longer than one may be.
void appendRecord(std::string& bytes, const Piece& piece);

// The record at the beginning of these bytes; its piece points into them.
struct Record {
  Piece piece;
  std::size_t size = 0;  // with its head
};
std::optional<Record> recordAt(std::string_view bytes);

// Where the next sound record begins, behind the first byte; the end when there is none.
std::size_t nextRecord(std::string_view bytes);

}  // namespace scope
