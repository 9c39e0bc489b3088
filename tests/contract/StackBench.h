// A bench whose platform talks to a bluetoothd, be it the real one or the model: what the scenes of
// the recorded traffic need besides.
#pragma once

#include <memory>

#include "contract/Bench.h"
#include "contract/Traffic.h"

namespace contract {

class StackBench : public Bench {
 public:
  // What has passed between the platform and bluetoothd up to now. It is recorded from the first
  // call on.
  virtual Traffic& traffic() = 0;

  // bluetoothd ends, as the system ends it or without a farewell; and begins again.
  virtual void stopStack() = 0;
  virtual void killStack() = 0;
  virtual void startStack() = 0;

  // Another program on the bus.
  virtual void discoverForAnother(bool isOn) = 0;
};

// dice: which of the courses that chance may take; the real stack has its own chance.
std::unique_ptr<StackBench> makeStackBench(unsigned dice);

}  // namespace contract
