#include "scope/record/Format.h"

#include <algorithm>

namespace scope {
namespace {

template <typename Number>
void appendLittle(std::string& bytes, Number number) {
  for (std::size_t i = 0; i < sizeof number; ++i) {
    bytes += static_cast<char>(static_cast<std::uint64_t>(number) >> (8 * i) & 0xFFU);
  }
}

std::uint64_t little(std::string_view bytes) {
  std::uint64_t number = 0;
  for (std::size_t i = bytes.size(); i-- > 0;) {
    number = number << 8U | static_cast<unsigned char>(bytes[i]);
  }
  return number;
}

constexpr std::size_t kSummedFrom = 8;

void appendOne(std::string& bytes, const Piece& piece) {
  const std::size_t begin = bytes.size();
  appendLittle(bytes, static_cast<std::uint32_t>(piece.bytes.size()));
  appendLittle(bytes, std::uint32_t{0});
  bytes += static_cast<char>(piece.kind);
  appendLittle(bytes, piece.time);
  bytes += piece.bytes;
  // The number of bytes is in the sum as well: it is what leads from one record to the next.
  Crc32 crc;
  crc.add(std::string_view(bytes).substr(begin, 4));
  crc.add(std::string_view(bytes).substr(begin + kSummedFrom));
  std::string sum;
  appendLittle(sum, crc.value());
  bytes.replace(begin + 4, sum.size(), sum);
}

}  // namespace

void appendRecord(std::string& bytes, const Piece& piece) {
  std::string_view rest = piece.bytes;
  do {
    appendOne(bytes, {piece.kind, piece.time, rest.substr(0, kLongestRecord)});
    rest.remove_prefix(std::min(rest.size(), kLongestRecord));
  } while (!rest.empty());
}

std::optional<Record> recordAt(std::string_view bytes) {
  if (bytes.size() < kRecordHead) return std::nullopt;
  const auto kind = static_cast<std::uint8_t>(bytes[8]);
  const std::uint64_t size = little(bytes.substr(0, 4));
  if (!isKind(kind) || size > kLongestRecord || size > bytes.size() - kRecordHead) {
    return std::nullopt;
  }
  Crc32 crc;
  crc.add(bytes.substr(0, 4));
  crc.add(bytes.substr(kSummedFrom, kRecordHead - kSummedFrom + size));
  if (crc.value() != little(bytes.substr(4, 4))) return std::nullopt;
  Record record;
  record.piece = {static_cast<Kind>(kind), static_cast<Time>(little(bytes.substr(9, 8))),
                  bytes.substr(kRecordHead, size)};
  record.size = kRecordHead + size;
  return record;
}

std::size_t nextRecord(std::string_view bytes) {
  for (std::size_t at = 1; at < bytes.size(); ++at) {
    if (recordAt(bytes.substr(at))) return at;
  }
  return bytes.size();
}

}  // namespace scope
