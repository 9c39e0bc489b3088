#include "Utils.h"

#include <array>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <memory_resource>
#include <string>

#include "HexDigits.h"
#include "Precondition.h"

namespace {

// A line being put together. Lines of usual length live on the stack, so that a streamed value
// costs no allocation.
class Line {
 public:
  explicit Line(std::size_t length) { text_.reserve(length); }
  std::pmr::string& text() { return text_; }

  // One fwrite on an unbuffered stream is one write. Its failure is the host's business: a host
  // that is gone closes the bridge's input too.
  void write() { std::fwrite(text_.data(), 1, text_.size(), stdout); }

 private:
  std::array<std::byte, 2048> arena_;
  std::pmr::monotonic_buffer_resource memory_{arena_.data(), arena_.size()};
  std::pmr::string text_{&memory_};
};

constexpr std::string_view kEscapedLess = "&inf;";
constexpr std::string_view kEscapedGreater = "&sup;";

std::size_t escapedLength(std::string_view msg) {
  std::size_t length = msg.size();
  for (const char c : msg) {
    if (c == '<' || c == '>') length += kEscapedLess.size() - 1;
  }
  return length;
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

void writeLine(std::string_view msg) {
  std::array<char, 64> buffer;
  const std::string_view stamp = timeStamp(buffer);
  Line line(stamp.size() + escapedLength(msg) + 2);
  line.text() += stamp;
  for (const char c : msg) {
    if (c == '<') {
      line.text() += kEscapedLess;
    } else if (c == '>') {
      line.text() += kEscapedGreater;
    } else {
      line.text() += c;
    }
  }
  line.text() += ">\n";
  line.write();
}

void sendQuelmar(std::string_view msg) {
  const std::uint32_t crc = calcCrc(msg);
  Line line(msg.size() + 7);
  line.text() += '<';
  line.text() += msg;
  for (int shift = 12; shift >= 0; shift -= 4) line.text() += kHexDigits[crc >> shift & 0x0F];
  line.text() += ">\n";
  line.write();
}

std::uint32_t calcCrc(std::string_view msg) {
  std::uint16_t crc = 0xFFFF;
  for (std::size_t i = 0; i < msg.size(); ++i) {
    if (msg[i] == '\r' && i + 1 < msg.size() && msg[i + 1] == '\n') continue;
    const auto byte = static_cast<std::uint8_t>(msg[i]);
    require(byte < 0x80);
    crc = static_cast<std::uint16_t>(crc >> 8 | crc << 8);
    crc ^= byte;
    crc ^= static_cast<std::uint16_t>((crc & 0xFF) >> 4);
    crc ^= static_cast<std::uint16_t>(crc << 12);
    crc ^= static_cast<std::uint16_t>((crc & 0xFF) << 5);
  }
  return crc;
}
