// The reader of the bridge's output in the package for hosts: good lines, damaged ones and any
// bytes, fed in pieces of any size.
#include <string>
#include <vector>

#include "tests/fuzz/Fuzz.h"
#include "tests/oracle/Output.h"
#include "vornix_host.h"

namespace {

using vornix_host::LineKind;

// A copy of a line, whose views are valid only until the next feed.
struct KeptLine {
  LineKind kind;
  std::string bytes;
  std::string text;

  bool operator==(const KeptLine&) const = default;
};

// Makes a stream of good lines and arbitrary bytes. Adds the lines to good; isGood is false once
// the stream has anything else.
std::string stream(subject::Choices& choices, std::vector<KeptLine>& good, bool& isGood) {
  std::string all;
  while (!choices.atEnd() && all.size() < 300000) {
    const std::size_t kind = choices.below(5);
    std::string text = choices.text(choices.byte());
    std::string line;
    if (kind == 0) {
      isGood = false;
      line = text;
    } else if (kind == 1) {
      line = "<@09:05:03.007" + oracle::logLine(text).substr(6);
      text = line.substr(17, line.size() - 19);
      good.push_back({LineKind::log, line, text});
    } else {
      for (char& c : text) c = static_cast<char>(c & 0x7F);
      if (kind == 2) text = "PJSON;" + text + ";";
      const bool isPlain = kind == 2 ? text.find(">\n") == std::string::npos
                                     : text.find_first_of("<>@\n") == std::string::npos;
      isGood = isGood && isPlain && (kind == 2 || !text.starts_with("PJSON;"));
      line = oracle::messageLine(text).value();
      if (kind == 4) line.resize(line.size() / 2);
      isGood = isGood && kind != 4;
      good.push_back({LineKind::message, line, text});
    }
    all += line;
  }
  return all;
}

void drain(vornix_host::LineReader& reader, std::vector<KeptLine>& lines) {
  while (const auto line = reader.next()) {
    fuzz::expect(!line->bytes.empty(), "a line of no bytes");
    lines.push_back({line->kind, std::string(line->bytes), std::string(line->text)});
    vornix_host::decode(*line);
  }
}

std::vector<KeptLine> readIn(const std::string& bytes, std::size_t piece) {
  vornix_host::LineReader reader;
  std::vector<KeptLine> lines;
  for (std::size_t i = 0; i < bytes.size(); i += piece) {
    reader.feed(std::string_view(bytes).substr(i, piece));
    drain(reader, lines);
  }
  reader.finish();
  drain(reader, lines);
  return lines;
}

void checkLine(const KeptLine& line) {
  if (line.kind == LineKind::message) {
    fuzz::expect(oracle::messageLine(line.text) == line.bytes, "a message that is none");
  } else if (line.kind == LineKind::log) {
    fuzz::expect(line.text.find_first_of("<>") == std::string::npos, "a log line with a frame");
    fuzz::expect(line.bytes.ends_with(line.text + ">\n"), "a log line of another text");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  subject::Choices choices(std::span(bytes, size));
  const std::size_t piece = 1 + std::size_t{choices.byte()} * choices.byte();
  std::vector<KeptLine> good;
  bool isGood = true;
  const std::string all = stream(choices, good, isGood);

  const auto lines = readIn(all, piece);
  std::string together;
  for (const KeptLine& line : lines) {
    together += line.bytes;
    checkLine(line);
  }
  fuzz::expect(together == all, "the lines together are not the output");
  fuzz::expect(readIn(all, all.size() + 1) == lines, "the cut makes a difference");
  if (isGood) fuzz::expect(lines == good, "a good line was not read as it was written");
  return 0;
}
