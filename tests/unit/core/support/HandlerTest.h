// The fixture of the tests of a device handler: a new handler for a device, and an empty journal.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>

#include "tests/unit/core/support/Endings.h"
#include "tests/unit/core/support/RecordingPlatform.h"

namespace unit {

// An error as a stack reports it, and its printed form.
inline const platform::Error someError{"CBATTErrorDomain", 14, "Unlikely error."};
inline const std::string someErrorPrinted =
    "Error Domain=CBATTErrorDomain Code=14 \"Unlikely error.\"";

template <class Handler>
class HandlerTest : public testing::Test {
 protected:
  explicit HandlerTest(std::string name)
      : device(std::make_shared<RecordingPeripheral>(journal, std::move(name))), handler(device) {
    journal.clear();
  }

  // The journal's entry for a call on the handler's device.
  static std::string on(const std::string& call) { return "device." + call; }

  // Runs act and returns the journal's entries of it.
  Entries of(const std::function<void()>& act) {
    journal.clear();
    act();
    return journal.take();
  }

  Entries delivering(const platform::CBUUID& characteristic, const Bytes& value) {
    return of([&] { device->deliver(characteristic, value); });
  }

  void expectAbort(const std::function<void()>& act, const Entries& before = {},
                   Place where = Place::current()) {
    unit::expectAbort(journal, act, before, where);
  }

  Journal journal;
  std::shared_ptr<RecordingPeripheral> device;
  Handler handler;
};

}  // namespace unit
