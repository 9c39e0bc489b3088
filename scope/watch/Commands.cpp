#include "scope/watch/Commands.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <system_error>
#include <utility>

namespace scope {
namespace {

constexpr std::array<std::pair<std::string_view, Needs>, 10> kPlain{{
    {"kill", Needs::nothing},
    {"CV_debutCalib", Needs::corvelta},
    {"CV_finCalib", Needs::corvelta},
    {"CV_debutAcquisition", Needs::corvelta},
    {"CV_finAcquisition", Needs::corvelta},
    {"FX_startRaw", Needs::fenwix},
    {"FX_stopRaw", Needs::fenwix},
    {"FX_startRaw2", Needs::fenwix},
    {"FX_stopRaw2", Needs::fenwix},
    {"FX_getJson", Needs::fenwix},
}};

// Narrower than what the bridge takes: digits only.
bool isNumber(std::string_view text, std::uint32_t most) {
  std::uint32_t number = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  return error == std::errc() && stop == end && number <= most;
}

bool isNumbered(std::string_view line, std::string_view word, std::uint32_t most) {
  if (!line.starts_with(word)) return false;
  line.remove_prefix(word.size());
  const std::size_t blank = line.find(' ');
  return blank != std::string_view::npos && isNumber(line.substr(0, blank), 0xFF) &&
         isNumber(line.substr(blank + 1), most);
}

}  // namespace

std::optional<Needs> needsOf(std::string_view line) {
  const auto* const found =
      std::ranges::find(kPlain, line, &std::pair<std::string_view, Needs>::first);
  if (found != kPlain.end()) return found->second;
  if (isNumbered(line, "FX_cmdWriteInt ", 0xFFFFFFFF)) return Needs::fenwix;
  if (isNumbered(line, "FX_cmdWriteByte ", 0xFF)) return Needs::fenwix;
  return std::nullopt;
}

}  // namespace scope
