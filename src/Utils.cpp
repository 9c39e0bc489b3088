#include "Utils.h"

#include <array>
#include <chrono>
#include <cstdio>
#include <ctime>

#include "HexDigits.h"
#include "Output.h"
#include "Precondition.h"
#include "TextBuffer.h"

namespace {

constexpr std::string_view kEscapedLess = "&inf;";
constexpr std::string_view kEscapedGreater = "&sup;";

void write(const TextBuffer& line) {
  standardOutput().write(line.view());
}

// What eight bytes, one of them this and the others zero, make of a checksum of zero: by place from
// the end, and by byte.
constexpr std::size_t kStep = 8;
using CrcTable = std::array<std::array<std::uint16_t, 256>, kStep>;

constexpr CrcTable makeCrcTable() {
  CrcTable table{};
  for (unsigned byte = 0; byte < 256; ++byte) {
    unsigned crc = byte << 8;
    for (auto& place : table) {
      for (int bit = 0; bit < 8; ++bit) crc = crc << 1 ^ ((crc & 0x8000) != 0 ? 0x1021U : 0U);
      place[byte] = static_cast<std::uint16_t>(crc);
    }
  }
  return table;
}

constexpr CrcTable kCrcTable = makeCrcTable();

std::uint8_t asciiAt(std::string_view text, std::size_t index) {
  const auto byte = static_cast<std::uint8_t>(text[index]);
  require(byte < 0x80);
  return byte;
}

// The checksum carried on over a text. Eight bytes at a time, as their places do not wait for one
// another.
std::uint16_t crcOf(std::string_view text, std::uint16_t crc) {
  std::size_t next = 0;
  for (; next + kStep <= text.size(); next += kStep) {
    unsigned sum = kCrcTable[7][asciiAt(text, next) ^ crc >> 8] ^
                   kCrcTable[6][asciiAt(text, next + 1) ^ (crc & 0xFF)];
    for (std::size_t i = 2; i < kStep; ++i) sum ^= kCrcTable[7 - i][asciiAt(text, next + i)];
    crc = static_cast<std::uint16_t>(sum);
  }
  for (; next < text.size(); ++next) {
    crc = static_cast<std::uint16_t>(crc << 8 ^ kCrcTable[0][asciiAt(text, next) ^ crc >> 8]);
  }
  return crc;
}

// A log line may repeat a command of any length. What is longer than this is put together in
// pieces, so that no more of it is held than the reader has left.
constexpr std::size_t kLargestPiece = std::size_t{64} << 10;

// The stream is locked.
void appendEscaped(TextBuffer& line, std::string_view msg) {
  for (const char c : msg) {
    if (line.view().size() + kEscapedLess.size() > kLargestPiece) {
      write(line);
      line.clear();
    }
    if (c == '<') {
      line.append(kEscapedLess);
    } else if (c == '>') {
      line.append(kEscapedGreater);
    } else {
      line.append(c);
    }
  }
}

// "<@hh:mm:ss.mmm : ", all four parts from one reading of the clock.
std::string_view timeStamp(std::array<char, 64>& buffer) {
  using namespace std::chrono;
  const auto now = system_clock::now();
  const auto second = floor<seconds>(now);
  const auto millisecond = static_cast<int>(duration_cast<milliseconds>(now - second).count());
  const std::time_t date = system_clock::to_time_t(second);
  std::tm local{};
  localtime_r(&date, &local);
  const int length =
      std::snprintf(buffer.data(), buffer.size(), "<@%02d:%02d:%02d.%03d : ", local.tm_hour,
                    local.tm_min, local.tm_sec, millisecond);
  return {buffer.data(), static_cast<std::size_t>(length)};
}

}  // namespace

void writeLine(std::string_view msg, std::string_view more) {
  std::array<char, 64> buffer;
  TextBuffer line;
  line.append(timeStamp(buffer));
  flockfile(stdout);
  appendEscaped(line, msg);
  appendEscaped(line, more);
  line.append(">\n");
  write(line);
  funlockfile(stdout);
}

void sendQuelmar(std::string_view msg) {
  const std::uint32_t crc = calcCrc(msg);
  TextBuffer line;
  line.append('<');
  line.append(msg);
  for (int shift = 12; shift >= 0; shift -= 4) line.append(kHexDigits[crc >> shift & 0x0F]);
  line.append(">\n");
  write(line);
}

std::uint32_t calcCrc(std::string_view msg) {
  std::uint16_t crc = 0xFFFF;
  for (auto end = msg.find("\r\n"); end != msg.npos; end = msg.find("\r\n")) {
    crc = crcOf(msg.substr(0, end), crc);
    msg.remove_prefix(end + 1);
  }
  return crcOf(msg, crc);
}
