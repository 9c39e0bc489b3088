// Random values of every characteristic of every family, through the core and the oracle.
#include <gtest/gtest.h>
#include <malloc.h>

#include <memory>

#include "tests/oracle/Draw.h"
#include "tests/oracle/Identifiers.h"
#include "tests/oracle/subject/Plays.h"
#include "tests/support/Sanitizer.h"

// Declared here since GCC 12 lacks the sanitizers' header.
extern "C" std::size_t __sanitizer_get_current_allocated_bytes();

namespace oracle {
namespace {

struct Stream {
  std::string name;
  std::size_t model;  // the index in subject::models()
  std::string_view uuid;
  std::size_t needed;  // the number of bytes that the decoder reads
};

constexpr std::string_view unknown = "00000000-0000-0000-0000-000000000000";

// The characteristics of each kind of device, and one that no device has.
std::vector<Stream> everyStream() {
  std::vector<Stream> streams;
  for (const subject::PlayedModel& played : subject::models()) {
    const std::size_t place = streams.empty() ? 0 : streams.back().model + 1;
    const std::string kind(played.model->kind);
    for (const Part& part : played.family->parts) {
      std::string name = kind + "_" + printed(part.uuid);
      std::erase(name, '-');
      streams.push_back({name, place, part.uuid, part.needed});
    }
    streams.push_back({kind + "_unknown", place, unknown, 0});
  }
  return streams;
}

std::vector<std::uint8_t> drawValue(Draw& draw, const Stream& stream) {
  const bool isLevel = stream.uuid == characRms || stream.uuid == characRms2;
  if (isLevel && !draw.oneIn(16)) return draw.level();
  if (stream.uuid == characFirmwareText) return draw.text(draw.below(40));
  if (stream.uuid == characCommand && !draw.oneIn(4)) return draw.reply();
  return draw.bytes(draw.length(stream.needed));
}

// Delivers a value of another characteristic first, since battery levels and identification numbers
// have an effect on later messages.
void deliverAnother(subject::Twin& twin, Draw& draw, const Stream& stream) {
  const auto place = draw.below(everyCharacteristic().size());
  const std::size_t length = place == subject::placeOf(characIlo) ? 13 : 4 + draw.below(20);
  twin.valueUpdated(stream.model, {place, 0}, draw.bytes(length));
}

// The memory in use. It is the same after each twin if the bridge keeps nothing.
std::size_t allocatedBytes() {
  if constexpr (support::hasAddressSanitizer || support::hasThreadSanitizer) {
    return __sanitizer_get_current_allocated_bytes();
  } else {
    const struct mallinfo2 heap = ::mallinfo2();
    return heap.uordblks + heap.hblkhd;
  }
}
constexpr std::size_t kGrowth = std::size_t{4} << 10;

class Values : public testing::TestWithParam<Stream> {};

TEST_P(Values, AreMappedAsTheOracleSays) {
  const Stream& stream = GetParam();
  Draw draw(theRun().seed);
  std::unique_ptr<subject::Twin> twin;
  std::size_t early = 0;
  for (std::uint64_t i = 0; i < theRun().values; ++i) {
    if (i == theRun().values / 2) {
      twin.reset();
      early = allocatedBytes();
    }
    if (!twin || twin->ended() || draw.oneIn(64)) {
      twin = std::make_unique<subject::Twin>();
      discover(*twin, stream.model);
    }
    std::optional<Bytes> value;
    try {
      if (draw.oneIn(4)) {
        deliverAnother(*twin, draw, stream);
        if (twin->ended()) continue;
      }
      if (!draw.oneIn(1000)) value = drawValue(draw, stream);
      twin->valueUpdated(stream.model, {subject::placeOf(stream.uuid), 0}, value);
    } catch (const subject::Difference& difference) {
      FAIL() << "value " << i << " of seed " << theRun().seed << ": "
             << testing::PrintToString(value) << '\n'
             << difference.what();
    }
  }
  twin.reset();
  EXPECT_LE(allocatedBytes(), early + kGrowth);
}

INSTANTIATE_TEST_SUITE_P(Of, Values, testing::ValuesIn(everyStream()),
                         [](const auto& tested) { return tested.param.name; });

}  // namespace
}  // namespace oracle
