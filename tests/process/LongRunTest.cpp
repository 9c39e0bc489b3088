// A long run of the bridge. Lines are checked as they come and are not kept.
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <variant>

#include "Scenario.h"
#include "support/spawn.h"

namespace process_test {
namespace {

// The number of values: VORNIX_VALUES, or as many as take a second or two.
std::uint32_t howMany() {
  const char* text = std::getenv("VORNIX_VALUES");
  return text != nullptr ? static_cast<std::uint32_t>(std::stoul(text)) : 200000;
}

// Feeds the reader with the output that has come; false when none comes.
bool readSome(const support::Child& bridge, vornix_host::LineReader& reader) {
  std::array<char, 65536> bytes;
  pollfd output{bridge.output.number(), POLLIN, 0};
  if (::poll(&output, 1, static_cast<int>(support::patience.count())) <= 0) return false;
  const auto count = ::read(bridge.output.number(), bytes.data(), bytes.size());
  if (count > 0) reader.feed({bytes.data(), static_cast<std::size_t>(count)});
  return count > 0;
}

TEST(LongRun, SendsEveryValueOnceAndInOrder) {
  const std::uint32_t total = howMany();
  support::ProcessOptions options;
  options.arguments = with(tramsel(), id::motion, {"count=18," + std::to_string(total)});
  support::Child bridge = support::spawn(VORNIX_SCRIPTED, options);

  vornix_host::LineReader reader;
  std::uint32_t told = 0;
  while (told < total) {
    ASSERT_TRUE(readSome(bridge, reader)) << "after " << told;
    while (const auto line = reader.next()) {
      ASSERT_NE(line->kind, vornix_host::LineKind::damaged) << line->bytes;
      const auto message = vornix_host::decode(*line);
      const auto* motion = std::get_if<vornix_host::TramselMotion>(&message);
      if (motion == nullptr) continue;
      const auto low = static_cast<std::uint16_t>(motion->values[0]);
      const auto high = static_cast<std::uint16_t>(motion->values[1]);
      ASSERT_EQ(low + 65536U * high, told);
      ++told;
    }
  }
  bridge.input.close();
  int status = -1;
  ASSERT_EQ(::waitpid(bridge.id, &status, 0), bridge.id);
  EXPECT_EQ(status, 0);
}

}  // namespace
}  // namespace process_test
