// What may befall a running bridge, at each stage that it may be in, and what must come of it.
#pragma once

#include <array>
#include <memory>
#include <string>
#include <vector>

#include "StackTest.h"

namespace stack {

// A bridge and its device, and what holds for a bridge that has survived a fault.
class FaultBench : public StackTest {
 protected:
  // It answers, it does not turn in circles, it has not grown.
  void expectUseful();

  // "kill" ends it; no line is damaged, and nothing is on its standard error.
  void expectOrderlyEnd();

  // A line that is no command is logged as it is.
  void expectEcho(const std::string& line);

  // While nothing comes, it needs next to no processor time.
  void expectLittleWork(Limit period);

  std::unique_ptr<LabDevice> device_;
  support::BridgeProcess* bridge_ = nullptr;
  std::size_t memoryBound_ = std::size_t{12} << 20;  // seen: half of that
  std::size_t oversizedBytes_ = 0;  // of lines longer than the host's reader takes for whole
};

enum class Stage {
  scanning,     // no device in range
  connecting,   // the device is found, and takes no link
  discovering,  // the link is up, and the device does not tell its characteristics
  streaming,
};

enum class End {
  none,          // cannot happen at this stage
  quits,         // the message is told, then the process ends with status 0
  quitsOrIdles,  // bluetoothd 5.66 may not survive it: where it has not, the bridge idles
  idles,         // it goes on without the device: one that is lost is not sought again
  streams,       // it goes on, and tells every value of the device
  isUnread,      // it goes on, heard by nobody, until its input ends
};

class FaultTest;

struct Fault {
  const char* name;
  void (FaultTest::*strike)();
  std::array<End, 4> ends;  // by stage

  std::vector<std::string> states{};  // of the radio, told one after the other
  const char* message = "";           // of a bridge that quits
  bool failsDiscovery = false;        // of services, where that is under way: one line tells it
};

struct Cell {
  const Fault* fault;
  Stage stage;
};

// Those that can happen, and their names for the tests.
std::vector<Cell> cellsOf(const std::vector<Fault>& faults);
std::string cellName(const ::testing::TestParamInfo<Cell>& cell);

class FaultTest : public FaultBench, public ::testing::WithParamInterface<Cell> {
 public:
  // Each strikes and returns when it has struck.
  void killBluetoothd();
  void restartBluetoothd();
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
  // Brings a bridge to the stage, strikes, and checks what comes of it.
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
