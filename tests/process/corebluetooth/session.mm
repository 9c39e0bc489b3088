// The bridge over the CoreBluetooth layer, among the lab's devices on the stand-in's radio. The
// command line names them, each with the control lines that are for it:
//   corebluetooth-session radio=5 fenwix "name Nomsuel-2" "rate 100" tramsel refuse-services=14
// radio=N is the radio's state, a value of CBManagerState, authorization=N what the user has said,
// a value of CBManagerAuthorization; refuse-services=N fails a device's service discovery with that
// error of the Attribute Protocol.
#include <iostream>
#include <memory>
#include <string_view>
#include <vector>

#include "lab/Text.h"
#include "lab/models/Models.h"
#include "main.h"
#include "support/corebluetooth/Air.h"

namespace {

using Devices = std::vector<std::unique_ptr<lab::BenchDevice>>;

bool understand(std::string_view word, Devices& devices) {
  standin::Air& air = standin::Air::shared();
  if (auto device = lab::makeDevice(word)) {
    air.add(*device);
    devices.push_back(std::move(device));
    return true;
  }
  const auto [name, argument] = lab::splitAt(word, '=');
  const auto number = lab::toNumber(argument);
  if (name == "radio" && number) {
    air.setState(*number);
    return true;
  }
  if (name == "authorization" && number) {
    air.authorization = *number;
    return true;
  }
  if (devices.empty()) return false;
  if (name != "refuse-services" || !number) return devices.back()->control(word);
  air.faultsOf(*devices.back()).discoveryError = static_cast<int>(*number);
  return true;
}

}  // namespace

int main(int count, char** words) {
  static Devices devices;  // to the end of the process, as the radio
  for (const std::string_view word : std::vector<std::string_view>(words + 1, words + count)) {
    if (understand(word, devices)) continue;
    std::cerr << "not understood: " << word << '\n';
    return 2;
  }
  const auto system = platform::makePlatform();
  return runVornix(*system);
}
