// Damaged lines between whole ones, through the reader and the decoder:
//
//   host_damage COUNT [SEED]     e.g. host_damage 10000000
//
// No message may come that was not written, and none that was written whole may stay away. The
// damage is what the checksum finds for certain: one to three changed bits, a changed run of up to
// 16 bits, a line without its beginning or its end, bytes in between.
#include <array>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <random>
#include <string>
#include <string_view>

#include "vornix_host.h"

namespace {

using vornix_host::checksum;
using vornix_host::LineKind;
using vornix_host::LineReader;
using vornix_host::UnknownMessage;

class Chance {
 public:
  explicit Chance(std::uint64_t seed) : engine_(seed) {}
  std::size_t below(std::size_t limit) { return engine_() % limit; }

 private:
  std::mt19937_64 engine_;
};

std::string numbers(Chance& chance, std::string text, int count, std::size_t limit) {
  for (int i = 0; i < count; ++i) text += std::to_string(chance.below(limit)) + ';';
  return text;
}

std::string payload(Chance& chance) {
  switch (chance.below(8)) {
    case 0:
      return numbers(chance, "B;", 1, 256) + numbers(chance, "", 9, 32768);
    case 1:
      return numbers(chance, "S;", 1, 256) + numbers(chance, "", 2, 65536);
    case 2:
      return numbers(chance, "P1;", 1, 1000000000);
    case 3:
      return numbers(chance, "K;MC;", 1, 65536) + numbers(chance, "", 2, 256);
    case 4:
      return numbers(chance, "C;5;0;", 5, 4294967295U);
    case 5:
      return "PR1;" + numbers(chance, "", 1, 90).substr(0, 1) + "0" + ";";
    case 6:
      return numbers(chance, "PJSON;{\"a\":", 1, 100000) + "};";
    default:
      return "V;";
  }
}

std::string framed(const std::string& payload) {
  std::array<char, 5> sum{};
  std::snprintf(sum.data(), sum.size(), "%04X", unsigned{checksum(payload)});
  return "<" + payload + sum.data() + ">\n";
}

void flip(std::string& line, std::size_t bit) {
  line[bit / 8] = static_cast<char>(line[bit / 8] ^ (1 << (7 - bit % 8)));
}

std::string damaged(Chance& chance, std::string line) {
  const std::size_t bits = line.size() * 8;
  switch (chance.below(5)) {
    case 0:
      for (std::size_t i = 1 + chance.below(3); i > 0; --i) flip(line, chance.below(bits));
      return line;
    case 1: {
      const std::size_t first = chance.below(bits - 15);
      const std::size_t run = 1 + chance.below(16);
      for (std::size_t i = 0; i < run; ++i) {
        if (i == 0 || chance.below(2) == 0) flip(line, first + i);
      }
      return line;
    }
    case 2:
      return line.substr(1 + chance.below(line.size() - 1));
    case 3:
      return line.substr(0, chance.below(line.size()));
    default:
      return line.insert(chance.below(2) * line.size(), numbers(chance, "stray", 1, 1000));
  }
}

struct Written {
  std::string payload;
  bool isWhole = true;
};

class Check {
 public:
  void written(std::string payload, bool isWhole) {
    written_.push_back({std::move(payload), isWhole});
  }

  void read(const vornix_host::Line& line) {
    if (line.kind != LineKind::message) return;
    // A damaged line may be read as it was, where the damage lay beside it.
    for (std::size_t i = 0; i < written_.size(); ++i) {
      if (written_[i].payload == line.text) {
        written_.erase(written_.begin(), written_.begin() + static_cast<std::ptrdiff_t>(i) + 1);
        return;
      }
      if (written_[i].isWhole) break;
    }
    const bool isUnknown =
        std::holds_alternative<UnknownMessage>(vornix_host::decodePayload(line.text));
    ++(isUnknown ? unknown_ : wrong_);
    std::printf("not written: %.*s\n", static_cast<int>(line.text.size()), line.text.data());
  }

  // All is read; nothing that was whole may be left.
  bool end(long count) {
    long lost = 0;
    for (const Written& one : written_) lost += one.isWhole;
    std::printf("%ld damaged lines: %ld false messages with fields, %ld of no kind, %ld lost\n",
                count, wrong_, unknown_, lost);
    return wrong_ + unknown_ + lost == 0;
  }

 private:
  std::deque<Written> written_;
  long wrong_ = 0;
  long unknown_ = 0;
};

}  // namespace

int main(int count, char** words) {
  const long lines = count > 1 ? std::atol(words[1]) : 0;
  if (lines < 1) return 2;
  Chance chance(count > 2 ? std::strtoull(words[2], nullptr, 10) : 1);
  Check check;
  LineReader reader;
  std::string output;
  const auto feed = [&] {
    reader.feed(output);
    output.clear();
    while (const auto line = reader.next()) check.read(*line);
  };
  for (long i = 0; i < lines; ++i) {
    const std::string hurt = payload(chance);
    std::string whole = payload(chance);
    while (whole == hurt) whole = payload(chance);  // to know which of the two was read
    check.written(hurt, false);
    check.written(whole, true);
    output += damaged(chance, framed(hurt)) + framed(whole);
    if (output.size() > 1 + chance.below(100000)) feed();
  }
  feed();
  reader.finish();
  feed();
  return check.end(lines) ? 0 : 1;
}
