// Faults that may happen to a running bridge at each of its stages, and their required ends.
#pragma once

#include <array>
#include <memory>
#include <string>
#include <vector>

#include "StackTest.h"

namespace stack {

// A bridge and its device, and checks for a bridge that has survived a fault.
class FaultBench : public StackTest {
 protected:
  // It answers, is idle when nothing happens, and has not grown.
  void expectUseful();

  // "kill" ends it; no line is damaged and standard error is empty.
  void expectOrderlyEnd();

  // It logs a line that is no command.
  void expectEcho(const std::string& line);

  // It needs next to no processor time for this long, while nothing happens.
  void expectLittleWork(Limit period);

  std::unique_ptr<LabDevice> device_;
  support::BridgeProcess* bridge_ = nullptr;
  std::size_t memoryBound_ = std::size_t{12} << 20;  // in bytes; measured: half of that
  std::size_t oversizedBytes_ = 0;  // in lines that are longer than the host's reader accepts
};

enum class Stage {
  scanning,     // no device in range
  connecting,   // the device is discovered, but accepts no link
  discovering,  // the link is up, but the device does not answer characteristic discovery
  streaming,
};

enum class End {
  none,          // cannot happen at this stage
  quits,         // the bridge sends the message and ends with status 0
  quitsOrIdles,  // bluetoothd 5.66 may crash by the fault; then the bridge idles
  idles,         // the bridge goes on without the device, which is not sought again
  streams,       // the bridge goes on and sends every value of the device
  isUnread,      // nobody reads the output; the bridge goes on until its input ends
};

class FaultTest;

struct Fault {
  const char* name;
  void (FaultTest::*strike)();
  std::array<End, 4> ends;  // by stage

  std::vector<std::string> states{};  // the radio's states that are logged, in order
  const char* message = "";           // the last message of a bridge that quits
  bool failsDiscovery = false;        // a service discovery under way fails, with one log line
};

struct Cell {
  const Fault* fault;
  Stage stage;
};

// All cells whose end is not `none`, and their names for the tests.
std::vector<Cell> cellsOf(const std::vector<Fault>& faults);
std::string cellName(const ::testing::TestParamInfo<Cell>& cell);

class FaultTest : public FaultBench, public ::testing::WithParamInterface<Cell> {
 public:
  // The faults. Each has happened when the function returns.
  void killBluetoothd();
  void restartBluetoothd();
  void restartBluetoothdInOrder();
  void stopBluetoothd();
  void killBus();
  void powerOff();
  void removeAdapter();
  void blockAdapter();
  void loseLink();
  void withdrawMotion();
  void withdrawBattery();
  void closeOutput();
  void sendManyCommands();
  void sendLongLine();
  void sendBytesBeyondAscii();
  void sendZeroBytes();

 protected:
  // Brings a bridge to the stage, lets the fault happen, and checks the end.
  void checkCell();

 private:
  void enter(Stage stage);
  void proceed(Stage stage);
  void checkEnd(const Fault& fault, Stage stage);
  void expectQuittingOrIdling(const Fault& fault, Stage stage);
  void expectIdling(const Fault& fault, Stage stage);
  void expectStreaming(Stage stage);
  void expectUnread(Stage stage);
  void expectTold(const Fault& fault, Stage stage);
  void waitForStates(const Fault& fault);
};

}  // namespace stack
