// The devices that are played, and their values: each tells when it was sent, in 32 bits of
// microseconds, and then a mark as far as the device's values have room for one.
#pragma once

#include <array>
#include <string_view>
#include <vector>

#include "Process.h"
#include "lab/DeviceModel.h"

namespace bench {

struct DeviceKind {
  std::string_view name;    // as lab::makeDevice takes it
  std::string_view stream;  // the characteristic that the values are of
  std::size_t valueSize;    // in bytes
};

// The bridge ends its scan when it has found a Tramsel, a Corvelta and a probe: the probe, which
// stands last, is heard of later than the others.
enum Device : std::size_t { kTramsel, kFenwix, kCorvelta, kProbe };
inline constexpr std::array<DeviceKind, 4> kDevices{
    {{"tramsel", "EF680408-9B35-4933-9B10-52FFA9740042", 18},
     {"fenwix", "3A87", 18},
     {"corvelta", "5D63AFC1-16D0-4C47-BDB8-39DE23DAF30A", 6},
     {"tenoval", "AA41", 4}}};

lab::Bytes valueSentAt(Clock::time_point time, std::size_t size);

// What came of one device's values. They are told apart by their times: no two are sent within one
// microsecond.
struct Reception {
  unsigned received = 0;          // each counted once
  unsigned doubled = 0;           // came once more
  std::vector<double> latencies;  // in milliseconds, from sending to the reader of the pipe
};

// Of the values sent from that time on, by place in kDevices, from lines of the bridge.
std::array<Reception, kDevices.size()> receptionsOf(const std::vector<Output::Line>& lines,
                                                    Clock::time_point begin);

}  // namespace bench
