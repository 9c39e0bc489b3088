#include "Utils.h"

#include <array>
#include <chrono>
#include <cstdio>
#include <ctime>

#include "Output.h"
#include "Payload.h"
#include "Precondition.h"
#include "TextBuffer.h"

namespace {

constexpr std::string_view kEscapedLess = "&inf;";
constexpr std::string_view kEscapedGreater = "&sup;";

void write(const TextBuffer& line) {
  standardOutput().write(line.view());
}

// The checksum is computed eight bytes at a time (slicing-by-8). Each place among the eight,
// counted from the last, has a table: what a byte in that place contributes to their checksum.
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

constexpr std::uint64_t kNotAscii = 0x8080'8080'8080'8080;

// Eight bytes as a little-endian number; on a little-endian machine the compiler makes it one load.
std::uint64_t wordAt(const char* text) {
  std::uint64_t word = 0;
  for (unsigned i = 0; i < kStep; ++i) {
    word |= std::uint64_t{static_cast<std::uint8_t>(text[i])} << (8 * i);
  }
  return word;
}

// Continues a checksum over a text, which has to be ASCII. The table look-ups for eight bytes do
// not depend on one another; the checksum so far is combined with the first two bytes.
std::uint16_t crcOf(std::string_view text, std::uint16_t crc) {
  std::uint64_t seen = 0;
  for (; text.size() >= kStep; text.remove_prefix(kStep)) {
    std::uint64_t word = wordAt(text.data());
    seen |= word;
    word ^= crc >> 8 | (crc & 0xFFU) << 8;
    unsigned sum = 0;
    for (unsigned i = 0; i < kStep; ++i) sum ^= kCrcTable[7 - i][word >> (8 * i) & 0xFF];
    crc = static_cast<std::uint16_t>(sum);
  }
  for (const char character : text) {
    const auto byte = static_cast<std::uint8_t>(character);
    seen |= byte;
    crc = static_cast<std::uint16_t>(crc << 8 ^ kCrcTable[0][byte ^ crc >> 8]);
  }
  require((seen & kNotAscii) == 0);
  return crc;
}

// A log line may repeat a command of any length. It is built and written in pieces of this size, so
// that no more of it is kept in memory than the host has not read.
constexpr std::size_t kLargestPiece = std::size_t{64} << 10;

// To be called with the stream locked.
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

// "<@hh:mm:ss.mmm : ", from a single reading of the clock.
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
  Payload message(msg);
  sendQuelmar(message);
}

void sendQuelmar(Payload& message) {
  standardOutput().write(message.framed(calcCrc(message)));
}

std::uint32_t calcCrc(std::string_view msg) {
  std::uint16_t crc = 0xFFFF;
  for (auto end = msg.find("\r\n"); end != msg.npos; end = msg.find("\r\n")) {
    crc = crcOf(msg.substr(0, end), crc);
    msg.remove_prefix(end + 1);
  }
  return crcOf(msg, crc);
}
