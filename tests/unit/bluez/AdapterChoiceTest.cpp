#include <cstdlib>

#include "BluezTest.h"

namespace bluez_tests {
namespace {

using namespace std::chrono_literals;
using platform::CBManagerState;

constexpr char kSecond[] = "/org/bluez/hci1";
constexpr char kSecondAddress[] = "00:AA:01:01:00:25";

// Two adapters, both powered.
class BluezAdapterChoice : public BluezTest {
 protected:
  BluezAdapterChoice() {
    bluez->objects[kAdapter] = adapter(true, "00:AA:01:00:00:24");
    bluez->objects[kSecond] = adapter(true, kSecondAddress);
  }
  ~BluezAdapterChoice() override { unsetenv("VORNIX_ADAPTER"); }

  void choose(const char* name) { setenv("VORNIX_ADAPTER", name, 1); }

  void expectState(CBManagerState state, std::size_t count = 1) {
    ASSERT_TRUE(waitUntil([&] { return states.size() >= count; }));
    settle();
    ASSERT_EQ(states.size(), count);
    EXPECT_EQ(states.back(), state);
  }

  void expectScanOn(const std::string& path) {
    manager->scanForPeripherals();
    EXPECT_TRUE(waitUntil([&] { return bluez->count(path, "StartDiscovery") == 1; }));
  }
};

class BluezAdapterChosen : public BluezAdapterChoice,
                           public ::testing::WithParamInterface<const char*> {};

TEST_P(BluezAdapterChosen, IsUsedThoughAnotherComesBefore) {
  choose(GetParam());
  start();
  expectState(CBManagerState::poweredOn);
  expectScanOn(kSecond);
}

INSTANTIATE_TEST_SUITE_P(ByName, BluezAdapterChosen, ::testing::Values("hci1", "HCI1"));
INSTANTIATE_TEST_SUITE_P(ByAddress, BluezAdapterChosen,
                         ::testing::Values("00:AA:01:01:00:25", "00:aa:01:01:00:25"));

TEST_F(BluezAdapterChoice, OfAnEmptyNameIsNoChoice) {
  choose("");
  start();
  expectState(CBManagerState::poweredOn);
  expectScanOn(kAdapter);
}

TEST_F(BluezAdapterChoice, OfAnUnpoweredOneIsPoweredOff) {
  bluez->objects[kSecond] = adapter(false, kSecondAddress);
  choose("hci1");
  start();
  expectState(CBManagerState::poweredOff);
}

// The beginning of a name or of an address does not name an adapter.
TEST_F(BluezAdapterChoice, OfOneThatDoesNotExistIsUnsupported) {
  for (const char* name : {"hci", "hci10", "00:AA:01:01:00", "1", "/org/bluez/hci1"}) {
    choose(name);
    states.clear();
    start();
    expectState(CBManagerState::unsupported);
    manager.reset();
    startPlatform();
  }
}

TEST_F(BluezAdapterChoice, OfOneThatAppearsIsPoweredOn) {
  choose("hci2");
  start();
  expectState(CBManagerState::unsupported);
  bluez->add("/org/bluez/hci2", adapter(true));
  expectState(CBManagerState::poweredOn, 2);
  expectScanOn("/org/bluez/hci2");
}

TEST_F(BluezAdapterChoice, IsNotReplacedByAnotherAdapterWhenItGoes) {
  choose("hci1");
  start();
  expectState(CBManagerState::poweredOn);
  bluez->remove(kSecond);
  expectState(CBManagerState::unsupported, 2);
}

// An adapter keeps its address whatever name it gets, so once it is there the state is known.
TEST_F(BluezAdapterChoice, ByAddressIsUsedAtOnceWhenItComesBackUnderAnotherName) {
  choose(kSecondAddress);
  start();
  expectState(CBManagerState::poweredOn);
  bluez.reset();
  expectState(CBManagerState::resetting, 2);
  bluez = std::make_unique<ScriptedBluez>(bus);
  bluez->add(kSecond, adapter(true, "00:AA:01:00:00:24"));
  bluez->add(kAdapter, adapter(true, kSecondAddress));
  settle();
  ASSERT_EQ(states.size(), 3U);
  expectState(CBManagerState::poweredOn, 3);
  expectScanOn(kAdapter);
}

TEST_F(BluezAdapterChoice, IsUnsupportedWhenBluezComesBackWithoutIt) {
  choose("hci1");
  start();
  expectState(CBManagerState::poweredOn);
  bluez.reset();
  expectState(CBManagerState::resetting, 2);
  bluez = std::make_unique<ScriptedBluez>(bus);
  bluez->add(kAdapter, adapter(true));
  pass(5s);
  expectState(CBManagerState::unsupported, 3);
}

}  // namespace
}  // namespace bluez_tests
