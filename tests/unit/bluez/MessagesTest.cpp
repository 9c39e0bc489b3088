#include <algorithm>

#include "BluezTest.h"

namespace bluez_tests {
namespace {

using platform::CBManagerState;

// Messages with unusual or malformed contents.
class BluezMessages : public BluezTest {
 protected:
  std::optional<std::string> nameOf(const std::string& name) {
    bluez->objects[kDevice] = device(name, true);
    startPoweredOn();
    manager->scanForPeripherals();
    settle();
    return reports.empty() ? std::nullopt : reports[0]->name();
  }
  // Reads the characteristic; BlueZ answers with these contents.
  template <typename... Contents>
  void read(const char* types, Contents... contents) {
    const std::string stream = std::string(kDevice) + "/service000a/char000b";
    bluez->on(stream, "ReadValue",
              [=, this](OwnedMessage call) { bluez->reply(call, types, contents...); });
    connectAndDiscover();
    peripheral->readValue(at(kStream));
    ASSERT_TRUE(waitUntil([&] { return !told.empty(); }));
  }
};

TEST_F(BluezMessages, NoncharactersOfANameAreReplacedUpToTheLast) {
  EXPECT_EQ(nameOf("\uFDEF\uFFFE\U0010FFFF"), "\uFFFD\uFFFD\U0010FFFD");
}

TEST_F(BluezMessages, CharactersBesideTheNoncharactersStayAsTheyAre) {
  EXPECT_EQ(nameOf("\uFDCF\uFDF0\uFFFD\u1FFE\u0FFF\U0001FFFD"),
            "\uFDCF\uFDF0\uFFFD\u1FFE\u0FFF\U0001FFFD");
}

TEST_F(BluezMessages, AServiceWithoutThePropertyIsPrimary) {
  connect();
  bluez->objects[std::string(kDevice) + "/service000a"] = {
      {kServiceInterface, {{"UUID", longForm(kService)}}}};
  bluez->change(kDevice, kDeviceInterface, {{"ServicesResolved", true}});
  peripheral->discoverServices(std::vector{kService});
  ASSERT_TRUE(waitUntil([&] { return !serviceAnswers.empty(); }));
  ASSERT_NE(peripheral->services(), nullptr);
  EXPECT_EQ(peripheral->services()->size(), 1U);
}

TEST_F(BluezMessages, AServiceWhosePathDoesNotEndInAHandleIsIgnored) {
  connect();
  for (const char* name : {"/service000ax", "/service", "/characteristic000a"}) {
    bluez->objects[kDevice + std::string(name)] = service(kService);
  }
  bluez->change(kDevice, kDeviceInterface, {{"ServicesResolved", true}});
  peripheral->discoverServices(std::vector{kService});
  ASSERT_TRUE(waitUntil([&] { return !serviceAnswers.empty(); }));
  ASSERT_NE(peripheral->services(), nullptr);
  EXPECT_TRUE(peripheral->services()->empty());
}

TEST_F(BluezMessages, ADeviceIsGoneWithWhateverElseItsObjectHas) {
  startPoweredOn();
  manager->scanForPeripherals();
  settle();
  Interfaces seen = device("Tramsel-1");
  seen[kDeviceInterface]["RSSI"] = std::int16_t{-40};
  seen["a.first.Interface"] = {};
  seen["z.last.Interface"] = {};
  bluez->add(kDevice, seen);
  ASSERT_TRUE(waitUntil([&] { return reports.size() == 1; }));
  const std::weak_ptr<platform::CBPeripheral> known = reports[0];
  reports.clear();
  bluez->remove(kDevice);
  EXPECT_TRUE(waitUntil([&] { return known.expired(); }));
}

TEST_F(BluezMessages, AValueOfTheLargestSizeIsRead) {
  const Bytes largest(514, 7);
  bluez->on(std::string(kDevice) + "/service000a/char000b", "ReadValue",
            [&](OwnedMessage call) { bluez->replyValue(call, largest); });
  connectAndDiscover();
  peripheral->readValue(at(kStream));
  ASSERT_TRUE(waitUntil([&] { return !told.empty(); }));
  EXPECT_EQ(values(), std::vector<Bytes>{largest});
}

TEST_F(BluezMessages, AnAnswerWithMoreThanAValueIsAFailedRead) {
  read("ayu", 1, 7, 0U);
  EXPECT_EQ(told, std::vector<std::string>{"read failed"});
}

// Noncharacters are replaced in texts, but not in lists of texts.
TEST_F(BluezMessages, ObjectsThatCannotBeReadToTheEndAreNotUsed) {
  bluez->on("/", "GetManagedObjects", [this](OwnedMessage call) {
    const std::string noncharacter = "\uFFFF";
    OwnedMessage owned = lab::MessageBus::newReply(call);
    sd_bus_message* reply = owned.get();
    sd_bus_message_open_container(reply, 'a', "{oa{sa{sv}}}");
    sd_bus_message_open_container(reply, 'e', "oa{sa{sv}}");
    sd_bus_message_append(reply, "o", kAdapter);
    sd_bus_message_open_container(reply, 'a', "{sa{sv}}");
    sd_bus_message_open_container(reply, 'e', "sa{sv}");
    sd_bus_message_append(reply, "s", kAdapterInterface);
    sd_bus_message_open_container(reply, 'a', "{sv}");
    sd_bus_message_append(reply, "{sv}", "Powered", "b", 1);
    sd_bus_message_open_container(reply, 'e', "sv");
    sd_bus_message_append(reply, "s", "UUIDs");
    sd_bus_message_open_container(reply, 'v', "as");
    sd_bus_message_open_container(reply, 'a', "s");
    char* place = nullptr;
    ASSERT_GE(sd_bus_message_append_string_space(reply, noncharacter.size(), &place), 0);
    std::ranges::copy(noncharacter, place);
    for (int i = 0; i < 8; ++i) sd_bus_message_close_container(reply);
    bus.sendReply(std::move(owned));
  });
  start();
  ASSERT_TRUE(waitUntil([&] { return !states.empty(); }));
  EXPECT_EQ(states, std::vector{CBManagerState::unsupported});
}

}  // namespace
}  // namespace bluez_tests
