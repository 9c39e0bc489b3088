// The scenes whose traffic with bluetoothd is recorded: with the real one in the virtual machine
// (RecordTraffic.cpp), and compared with that when the model plays them (CompareTraffic.cpp).
#pragma once

#include <string>

#include "contract/ContractTest.h"
#include "contract/StackBench.h"

namespace contract {

// What the program does with a scene that has been played.
void didPlay(const std::string& scene, const std::string& traffic);

class TrafficTest : public ContractTest, public testing::WithParamInterface<unsigned> {
 protected:
  TrafficTest() : ContractTest(makeStackBench(GetParam())) { stack().traffic(); }

  void TearDown() override;

  // Begins the next step of the scene once all is quiet.
  void step(const std::string& name);

  // As in ContractTest, but one after the other, each when all is quiet.
  void discover();
  void connect();
  void find();

  StackBench& stack() { return static_cast<StackBench&>(*bench); }

  void write(lab::CharacteristicIndex which, const Bytes& value);
  bool waitForValue(const Bytes& value);
};

}  // namespace contract
