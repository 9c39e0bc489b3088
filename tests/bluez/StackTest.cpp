#include "BluezTest.h"

namespace bluez_tests {
namespace {

using platform::CBManagerState;

// Another program on the bus, which says what it likes straight to the bridge.
class Liar {
 public:
  explicit Liar(FakeBluez& bluez) {
    bluez.on("/", "GetManagedObjects", [this, &bluez](OwnedMessage call) {
      bridge_ = sd_bus_message_get_sender(call.get());
      bluez.replyObjects(*call);
    });
    sd_bus_open_system(&bus_);
  }
  Liar(const Liar&) = delete;
  Liar& operator=(const Liar&) = delete;
  ~Liar() { sd_bus_flush_close_unref(bus_); }

  template <typename... Contents>
  void signal(const char* path, const char* interface, const char* member, const char* types,
              Contents... contents) {
    sd_bus_message* message = nullptr;
    ASSERT_FALSE(bridge_.empty());
    ASSERT_GE(sd_bus_message_new_signal(bus_, &message, path, interface, member), 0);
    ASSERT_GE(sd_bus_message_set_destination(message, bridge_.c_str()), 0);
    ASSERT_GE(sd_bus_message_append(message, types, contents...), 0);
    ASSERT_GE(sd_bus_send(bus_, message, nullptr), 0);
    sd_bus_message_unref(message);
    sd_bus_flush(bus_);
  }

 private:
  sd_bus* bus_ = nullptr;
  std::string bridge_;
};

class BluezStack : public BluezTest {
 protected:
  void startWithALiar() {
    liar = std::make_unique<Liar>(*bluez);
    startPoweredOn();
  }
  void expectNoChange() {
    settle();
    EXPECT_EQ(states, std::vector{CBManagerState::poweredOn});
  }

  std::unique_ptr<Liar> liar;
};

TEST_F(BluezStack, IsNotTakenAwayByOthers) {
  startWithALiar();
  liar->signal("/org/freedesktop/DBus", "org.freedesktop.DBus", "NameOwnerChanged", "sss",
               "org.bluez", ":1.0", "");
  expectNoChange();
}

TEST_F(BluezStack, DoesNotLoseItsObjectsByOthers) {
  startWithALiar();
  liar->signal("/", "org.freedesktop.DBus.ObjectManager", "InterfacesRemoved", "oas", kAdapter, 1,
               kAdapterInterface);
  expectNoChange();
}

TEST_F(BluezStack, IsNotGivenObjectsByOthers) {
  startWithALiar();
  manager->scanForPeripherals();
  settle();
  liar->signal("/", "org.freedesktop.DBus.ObjectManager", "InterfacesAdded", "oa{sa{sv}}", kDevice,
               1, kDeviceInterface, 1, "RSSI", "n", -40);
  expectNoChange();
  EXPECT_TRUE(reports.empty());
}

TEST_F(BluezStack, ThatGoesWithoutHavingToldItsObjectsIsGoneAndNotUnusable) {
  std::vector<OwnedMessage> held;
  bluez->on("/", "GetManagedObjects", [&](OwnedMessage call) { held.push_back(std::move(call)); });
  start();
  ASSERT_TRUE(waitUntil([&] { return held.size() == 1; }));
  held.clear();
  bluez.reset();
  ASSERT_TRUE(waitUntil([&] { return !states.empty(); }));
  settle();
  EXPECT_EQ(states, std::vector{CBManagerState::resetting});
}

TEST_F(BluezStack, ThatGivesNonsenseForItsObjectsIsUnusable) {
  bluez->on("/", "GetManagedObjects", [&](OwnedMessage call) { bluez->reply(*call); });
  start();
  ASSERT_TRUE(waitUntil([&] { return !states.empty(); }));
  EXPECT_EQ(states, std::vector{CBManagerState::unsupported});
}

}  // namespace
}  // namespace bluez_tests
