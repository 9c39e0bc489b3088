// Reads and decodes damaged lines between whole ones:
//
//   host_damage COUNT [SEED]     e.g. host_damage 10000000
//
// No known message may come that was not written, and none that was written whole may be missing.
// (Damage may put a "<" into a line, which begins a frame; by chance its checksum may fit, which
// gives an unknown message.) The damage is of the kinds that the checksum always detects: one to
// three changed bits, a changed run of up to 16 bits, a line without its beginning or its end,
// inserted bytes.
#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <string_view>
#include <vector>

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

// Changes bits of the payload alone, or of the bytes after it: if both were changed, the checksum
// could by chance be that of the changed payload.
std::string changed(Chance& chance, std::string line, bool isRun) {
  const std::size_t behind = line.size() - 6;  // four digits, ">", line feed
  const bool isPayload = chance.below(2) == 0;
  const std::size_t begin = isPayload ? 8 : behind * 8;
  const std::size_t end = isPayload ? behind * 8 : line.size() * 8;
  if (!isRun) {
    for (std::size_t i = 1 + chance.below(3); i > 0; --i) {
      flip(line, begin + chance.below(end - begin));
    }
    return line;
  }
  const std::size_t first = begin + chance.below(end - begin);
  const std::size_t run = 1 + chance.below(std::min<std::size_t>(16, end - first));
  for (std::size_t i = 0; i < run; ++i) {
    if (i == 0 || chance.below(2) == 0) flip(line, first + i);
  }
  return line;
}

std::string damaged(Chance& chance, std::string line) {
  switch (const std::size_t how = chance.below(5)) {
    case 0:
    case 1:
      return changed(chance, std::move(line), how == 1);
    case 2:
      return line.substr(1 + chance.below(line.size() - 1));
    case 3:
      return line.substr(0, chance.below(line.size()));
    default:
      return line.insert(chance.below(2) * line.size(), numbers(chance, "stray", 1, 1000));
  }
}

// One damaged line between two whole ones. Two damaged lines near a document would be a different
// matter: if its end is lost and a later line is damaged too, one in 65,536 ends fits both.
bool isReadWell(Chance& chance, long& ofNoKind) {
  const std::string before = payload(chance);
  const std::string hurt = payload(chance);
  const std::string behind = payload(chance);
  const std::string output = framed(before) + damaged(chance, framed(hurt)) + framed(behind);

  LineReader reader;
  std::vector<std::string> found;
  const auto take = [&] {
    while (const auto line = reader.next()) {
      if (line->kind != LineKind::message) continue;
      if (std::holds_alternative<UnknownMessage>(vornix_host::decodePayload(line->text))) {
        ++ofNoKind;
      } else {
        found.emplace_back(line->text);
      }
    }
  };
  const std::size_t cut = chance.below(output.size());
  reader.feed(std::string_view(output).substr(0, cut));
  take();
  reader.feed(std::string_view(output).substr(cut));
  take();
  reader.finish();
  take();

  // The damaged line may be read as well, if bytes were only inserted beside it.
  using Payloads = std::vector<std::string>;
  const bool isGood = found == Payloads{before, behind} || found == Payloads{before, hurt, behind};
  if (!isGood) std::printf("read wrongly: %s", output.c_str());
  return isGood;
}

}  // namespace

int main(int count, char** words) {
  const long lines = count > 1 ? std::atol(words[1]) : 0;
  if (lines < 1) return 2;
  Chance chance(count > 2 ? std::strtoull(words[2], nullptr, 10) : 1);
  long wrong = 0;
  long ofNoKind = 0;
  for (long i = 0; i < lines; ++i) wrong += isReadWell(chance, ofNoKind) ? 0 : 1;
  std::printf("%ld damaged lines, %ld read wrongly; %ld messages of no kind\n", lines, wrong,
              ofNoKind);
  return wrong == 0 ? 0 : 1;
}
