// The simulated devices, and their values: each contains the time of sending, in 32 bits of
// microseconds, and then a mark if the value has room for one.
#pragma once

#include <array>
#include <string_view>
#include <vector>

#include "Process.h"
#include "lab/DeviceModel.h"

namespace bench {

struct DeviceKind {
  std::string_view name;    // the kind, for lab::makeDevice
  std::string_view stream;  // the characteristic that sends the values
  std::size_t valueSize;    // in bytes
};

// The bridge ends its scan when it has found a Tramsel, a Corvelta and a probe, so the probe is
// heard later than the others.
enum Device : std::size_t { kTramsel, kFenwix, kCorvelta, kProbe };
inline constexpr std::array<DeviceKind, 4> kDevices{
    {{"tramsel", "EF680408-9B35-4933-9B10-52FFA9740042", 18},
     {"fenwix", "3A87", 18},
     {"corvelta", "5D63AFC1-16D0-4C47-BDB8-39DE23DAF30A", 6},
     {"tenoval", "AA41", 4}}};

lab::Bytes valueSentAt(Clock::time_point time, std::size_t size);

// How many values of one device arrived, and how late. Values are identified by their times: no two
// are sent within one microsecond.
struct Reception {
  unsigned received = 0;          // different values
  unsigned doubled = 0;           // values that came again
  std::vector<double> latencies;  // in milliseconds, from sending to the reader of the pipe
};

// The reception of the values sent from begin on, by the bridge's lines; indexed like kDevices.
std::array<Reception, kDevices.size()> receptionsOf(const std::vector<Output::Line>& lines,
                                                    Clock::time_point begin);

}  // namespace bench
