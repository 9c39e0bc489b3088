#include "Faults.h"

#include <algorithm>
#include <csignal>
#include <iterator>

#include "ProcessUse.h"

namespace stack {
namespace {

using namespace std::chrono_literals;
using support::OutputLine;
using support::ProcessEnd;

constexpr const char* kStageNames[] = {"Scanning", "Connecting", "Discovering", "Streaming"};

constexpr char kMotionService[] = "EF680400-9B35-4933-9B10-52FFA9740042";
constexpr char kBatteryService[] = "180F";
constexpr char kEcho[] = "commande recue non traitee : ";

constexpr std::size_t kLongLine = 20'000'000;
constexpr int kManyCommands = 20'000;

std::vector<std::string> optionsFor(Stage stage) {
  std::vector<std::string> options{"--name", "Tramsel-7", "--rate",
                                   "10",     "--control", "service-changed"};
  const auto add = [&options](const char* option, const char* value) {
    options.insert(options.end(), {option, value});
  };
  if (stage == Stage::scanning) add("--control", "advertise off");
  if (stage == Stage::connecting) add("--control", "connectable off");
  if (stage == Stage::discovering) add("--fault", "silence-at=characteristics");
  return options;
}

// The rest of each log line with this beginning.
std::vector<std::string> logged(const support::BridgeProcess& bridge, const std::string& start) {
  std::vector<std::string> texts;
  for (const OutputLine& line : bridge.lines()) {
    if (line.kind == vornix_host::LineKind::log && line.text.starts_with(start)) {
      texts.push_back(line.text.substr(start.size()));
    }
  }
  return texts;
}

bool isState(const OutputLine& line) {
  return line.text.starts_with(stateLine(""));
}

bool isDiscoveryError(const OutputLine& line) {
  return line.text.starts_with("erreur de lecture des services ") &&
         line.text.ends_with(" de Tramsel-7");
}

}  // namespace

void FaultBench::expectUseful() {
  expectEcho("still there");
  expectLittleWork(2s);
  EXPECT_LT(largestMemory(bridge_->id()), memoryBound_);
}

void FaultBench::expectOrderlyEnd() {
  EXPECT_TRUE(bridge_->writeLine("kill"));
  EXPECT_EQ(bridge_->waitForEnd(), ProcessEnd::status(0));
  std::size_t damagedBytes = 0;
  for (const OutputLine& line : bridge_->lines()) {
    if (line.isDamaged()) damagedBytes += line.bytes.size();
  }
  EXPECT_EQ(damagedBytes, oversizedBytes_);
  EXPECT_EQ(bridge_->standardError(), "");
}

void FaultBench::expectEcho(const std::string& line) {
  EXPECT_TRUE(bridge_->writeLine(line));
  EXPECT_TRUE(bridge_->waitForLog(kEcho + line)) << support::printable(line);
}

void FaultBench::expectLittleWork(Limit period) {
  const Limit before = processorTime(bridge_->id());
  ASSERT_EQ(bridge_->waitForEnd(period), std::nullopt) << "it has ended";
  EXPECT_LT(processorTime(bridge_->id()) - before, period / 5);
}

std::vector<Cell> cellsOf(const std::vector<Fault>& faults) {
  std::vector<Cell> cells;
  for (const Fault& fault : faults) {
    for (std::size_t stage = 0; stage < fault.ends.size(); ++stage) {
      if (fault.ends[stage] != End::none) cells.push_back({&fault, static_cast<Stage>(stage)});
    }
  }
  return cells;
}

std::string cellName(const ::testing::TestParamInfo<Cell>& cell) {
  return std::string(cell.param.fault->name) + "While" +
         kStageNames[static_cast<std::size_t>(cell.param.stage)];
}

void FaultTest::killBluetoothd() {
  stack_.killBluetoothd();
}

void FaultTest::restartBluetoothd() {
  stack_.killBluetoothd();
  EXPECT_TRUE(bridge_->waitForLog(stateLine("resetting")));
  stack_.startBluetoothd();
}

// As systemctl restart does.
void FaultTest::restartBluetoothdInOrder() {
  stack_.endBluetoothd();
  EXPECT_TRUE(bridge_->waitForLog(stateLine("resetting")));
  stack_.startBluetoothd();
}

void FaultTest::stopBluetoothd() {
  stack_.signalBluetoothd(SIGSTOP);
  expectLittleWork(20s);
  expectEcho("meanwhile");
  stack_.signalBluetoothd(SIGCONT);
}

void FaultTest::killBus() {
  stack_.killBus();
}

void FaultTest::powerOff() {
  stack_.bluez().setPowered("hci0", false);
}

void FaultTest::removeAdapter() {
  stack_.removeControllers();
}

void FaultTest::blockAdapter() {
  if (!stack_.block("hci0")) GTEST_SKIP() << "this kernel blocks no adapters";
}

void FaultTest::loseLink() {
  device_->control("drop");
  EXPECT_TRUE(device_->waitFor("disconnected"));
  EXPECT_TRUE(device_->waitFor("advertising", 2));
}

void FaultTest::withdrawMotion() {
  ASSERT_TRUE(stack_.bluez().waitUntil([this] { return stack_.bluez().isAcquired(batteryUuid); }));
  device_->control(std::string("withdraw ") + kMotionService);
  EXPECT_TRUE(stack_.bluez().waitUntil([this] { return !stack_.bluez().isAcquired(motionUuid); }));
}

void FaultTest::withdrawBattery() {
  ASSERT_TRUE(stack_.bluez().waitUntil([this] { return stack_.bluez().isAcquired(batteryUuid); }));
  device_->control(std::string("withdraw ") + kBatteryService);
  EXPECT_TRUE(stack_.bluez().waitUntil([this] { return !stack_.bluez().isAcquired(batteryUuid); }));
}

void FaultTest::closeOutput() {
  bridge_->closeOutput();
}

void FaultTest::sendManyCommands() {
  std::string commands;
  std::vector<std::string> numbers;
  for (int i = 0; i < kManyCommands; ++i) {
    numbers.push_back(std::to_string(i));
    commands += "line " + numbers.back() + "\n";
  }
  device_->control("rate 1000");
  EXPECT_TRUE(bridge_->write(commands, 300s));
  EXPECT_TRUE(bridge_->waitForLog(kEcho + ("line " + numbers.back()), 300s));
  EXPECT_TRUE(logged(*bridge_, kEcho + std::string("line ")) == numbers);
}

// The line is longer than the host's reader accepts, so its echo is looked for in the bytes.
void FaultTest::sendLongLine() {
  const std::string part(1'000'000, 'x');
  for (std::size_t sent = 0; sent < kLongLine; sent += part.size()) {
    ASSERT_TRUE(bridge_->write(part, 120s));
  }
  ASSERT_TRUE(bridge_->write("\n"));
  expectEcho("after it");
  const std::string& output = bridge_->output();
  const std::size_t begin = output.find(kEcho + std::string("xxx")) + std::string(kEcho).size();
  const std::size_t end = output.find_first_not_of('x', begin);
  ASSERT_EQ(end - begin, kLongLine);
  EXPECT_EQ(output.substr(end, 3), ">\n<");
  oversizedBytes_ = std::string("<@hh:mm:ss.mmm : ").size() + std::string(kEcho).size() +
                    kLongLine + std::string(">\n").size();
  // Room for the line itself, and for its echo until the host has read it.
  memoryBound_ += kLongLine * 23 / 10;
}

void FaultTest::sendBytesBeyondAscii() {
  expectEcho("\x80\xFF\xC3\xA9\xF0\x9F\x98\x80 FX_startRaw");
}

void FaultTest::sendZeroBytes() {
  expectEcho(std::string("kill\0", 5));
  expectEcho(std::string("\0FX_startRaw\0", 13));
}

void FaultTest::checkCell() {
  const auto& [fault, stage] = GetParam();
  enter(stage);
  if (HasFailure()) return;
  (this->*fault->strike)();
  if (HasFatalFailure() || IsSkipped()) return;
  checkEnd(*fault, stage);
}

void FaultTest::enter(Stage stage) {
  stack_.start(2);
  device_ = startTramsel(optionsFor(stage));
  bridge_ = &startBridge();
  if (stage == Stage::scanning) {
    EXPECT_TRUE(waitForScan());
    return;
  }
  EXPECT_TRUE(bridge_->waitForLog("Connexion a Tramsel-7"));
  stack_.bluez().devices();  // when this is answered, the link has been asked for
  if (stage == Stage::connecting) return;
  EXPECT_TRUE(stack_.bluez().waitUntil([this] {
    const auto devices = stack_.bluez().devices();
    return !devices.empty() && devices.front().connected;
  }));
  EXPECT_TRUE(stage != Stage::streaming || waitForMotions(*bridge_, 5));
}

// Ends the condition that held the device at this stage, so that it can stream.
void FaultTest::proceed(Stage stage) {
  if (stage == Stage::scanning) device_->control("advertise on");
  if (stage == Stage::connecting) device_->control("connectable on");
}

void FaultTest::checkEnd(const Fault& fault, Stage stage) {
  switch (fault.ends[static_cast<std::size_t>(stage)]) {
    case End::none:
      return;
    case End::quits:
      expectUnusable(*bridge_, fault.states.back(), fault.message);
      break;
    case End::quitsOrIdles:
      return expectQuittingOrIdling(fault, stage);
    case End::idles:
      expectIdling(fault, stage);
      break;
    case End::streams:
      waitForStates(fault);
      expectStreaming(stage);
      break;
    case End::isUnread:
      return expectUnread(stage);
  }
  expectTold(fault, stage);
}

void FaultTest::expectQuittingOrIdling(const Fault& fault, Stage stage) {
  const auto state = bridge_->waitFor(isState);
  ASSERT_TRUE(state);
  if (state->isLog(stateLine(fault.states.back()))) {
    expectLastWords(*bridge_, fault.message);
    return expectTold(fault, stage);
  }
  EXPECT_FALSE(stack_.bluez().isRunning());
  Fault end = fault;
  end.states = {"resetting"};
  expectIdling(end, stage);
  expectTold(end, stage);
}

void FaultTest::expectIdling(const Fault& fault, Stage stage) {
  waitForStates(fault);
  const bool isFailing = fault.failsDiscovery && stage == Stage::discovering;
  if (isFailing && std::ranges::none_of(bridge_->lines(), isDiscoveryError)) {
    EXPECT_TRUE(bridge_->waitFor(isDiscoveryError, 60s));
  }
  expectUseful();
  expectOrderlyEnd();
  EXPECT_LE(device_->count("connected"), 1U);
}

void FaultTest::expectStreaming(Stage stage) {
  proceed(stage);
  EXPECT_TRUE(waitForMotions(*bridge_, 5, 120s));
  device_->control("stream off");
  EXPECT_TRUE(waitForMarker(*bridge_, *device_));
  expectUseful();
  expectOrderlyEnd();
  expectAllMotions(*bridge_, *device_);
}

void FaultTest::expectUnread(Stage stage) {
  proceed(stage);
  if (stage != Stage::discovering) {
    const std::string sent = std::string("sent ") + motionUuid;
    EXPECT_TRUE(device_->waitFor(sent, device_->count(sent) + 20, 120s));
  }
  expectLittleWork(2s);
  EXPECT_TRUE(bridge_->writeLine("heard by nobody"));
  bridge_->closeInput();
  EXPECT_EQ(bridge_->waitForEnd(), ProcessEnd::status(0));
  EXPECT_EQ(bridge_->standardError(), "");
}

// Checks the whole output of a bridge that has ended.
void FaultTest::expectTold(const Fault& fault, Stage stage) {
  std::vector<std::string> states{"poweredOn"};
  std::ranges::copy(fault.states, std::back_inserter(states));
  EXPECT_EQ(logged(*bridge_, stateLine("")), states);

  const auto failures = std::ranges::count_if(bridge_->lines(), isDiscoveryError);
  EXPECT_LE(failures, stage == Stage::discovering ? 1 : 0);

  std::vector<std::string> sent = device_->sent(motionUuid);
  std::ranges::transform(sent, sent.begin(), motionFields);
  const std::vector<std::string> told = motionsOf(*bridge_).fields;
  sent.resize(std::min(sent.size(), told.size()));
  EXPECT_EQ(told, sent) << "twice, or in another order, or with gaps";
}

void FaultTest::waitForStates(const Fault& fault) {
  while (logged(*bridge_, stateLine("")).size() <= fault.states.size()) {
    ASSERT_TRUE(bridge_->waitFor(isState)) << "a state is not logged";
  }
}

}  // namespace stack
