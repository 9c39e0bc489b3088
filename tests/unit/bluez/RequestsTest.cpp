#include <thread>

#include "BluezTest.h"

namespace bluez_tests {
namespace {

class BluezRequests : public BluezTest {
 protected:
  void SetUp() override { connectAndDiscover(); }

  static std::string pathOf(const std::string& characteristic) {
    return std::string(kDevice) + "/service000a/" + characteristic;
  }
  const std::string stream = pathOf("char000b");
  const std::string other = pathOf("char000d");

  void answerReadsOf(const std::string& path, const Bytes& value) {
    bluez->on(path, "ReadValue",
              [this, value](OwnedMessage call) { bluez->replyValue(call, value); });
  }
};

TEST_F(BluezRequests, AreMadeOneAtATime) {
  OwnedMessage pending;
  bluez->on(stream, "ReadValue", [&](OwnedMessage call) { pending = std::move(call); });
  answerReadsOf(other, {2});
  peripheral->readValue(at(kStream));
  peripheral->readValue(at(kOther));
  settle();
  EXPECT_EQ(bluez->count(other, "ReadValue"), 0U);
  bluez->replyValue(pending, {1});
  ASSERT_TRUE(waitUntil([&] { return valueEvents.size() == 2; }));
  EXPECT_EQ(values(), (std::vector<Bytes>{{1}, {2}}));
}

TEST_F(BluezRequests, ReadGivesTheErrorOfTheDevice) {
  bluez->on(stream, "ReadValue", [&](OwnedMessage call) {
    bluez->refuse(call, "org.bluez.Error.Failed", "Operation failed with ATT error: 0x80");
  });
  peripheral->readValue(at(kStream));
  ASSERT_TRUE(waitUntil([&] { return valueEvents.size() == 1; }));
  EXPECT_FALSE(valueEvents[0].value);
  ASSERT_TRUE(valueEvents[0].error);
  EXPECT_EQ(valueEvents[0].error->domain, "org.bluez.Error.Failed");
  EXPECT_EQ(valueEvents[0].error->code, 0x80);
  EXPECT_EQ(valueEvents[0].error->message, "Operation failed with ATT error: 0x80");
}

// BlueZ reports the error first, and only then that the link is down.
TEST_F(BluezRequests, FailSilentlyWhenTheLinkGoesDownWithThem) {
  bluez->on(stream, "ReadValue", [&](OwnedMessage call) {
    bluez->refuse(call, "org.bluez.Error.Failed", "Operation failed with ATT error: 0x0e");
    dropLink();
  });
  peripheral->readValue(at(kStream));
  peripheral->readValue(at(kOther));
  settle();
  EXPECT_TRUE(told.empty());
  EXPECT_EQ(bluez->count(other, "ReadValue"), 0U);
}

TEST_F(BluezRequests, GoOnWhenACharacteristicIsTakenAway) {
  bluez->on(stream, "ReadValue", [](OwnedMessage) {});
  answerReadsOf(other, {2});
  peripheral->readValue(at(kStream));
  peripheral->readValue(at(kOther));
  settle();
  bluez->remove(stream);
  ASSERT_TRUE(waitUntil([&] { return told.size() == 2; }));
  EXPECT_EQ(told, (std::vector<std::string>{"read failed", "value"}));
}

TEST_F(BluezRequests, EndWithTheDevicesObject) {
  bluez->on(stream, "ReadValue", [](OwnedMessage) {});
  peripheral->readValue(at(kStream));
  peripheral->discoverServices(std::vector{kService});
  settle();
  bluez->remove(kDevice);
  settle();
  EXPECT_EQ(told, std::vector<std::string>{"services failed"});
}

TEST_F(BluezRequests, WriteAsksForTheAcknowledgement) {
  Bytes written;
  std::string type;
  bluez->on(stream, "WriteValue", [&](OwnedMessage call) {
    const void* bytes = nullptr;
    std::size_t size = 0;
    sd_bus_message_read_array(call.get(), 'y', &bytes, &size);
    written.assign(static_cast<const std::uint8_t*>(bytes),
                   static_cast<const std::uint8_t*>(bytes) + size);
    const char* text = nullptr;
    sd_bus_message_read(call.get(), "a{sv}", 1, nullptr, "s", &text);
    type = text != nullptr ? text : "";
    bluez->refuse(call, "org.bluez.Error.NotPermitted", "Write not permitted");
  });
  answerReadsOf(other, {2});
  const Bytes value(600, 7);
  peripheral->writeValue(value, at(kStream), platform::CBCharacteristicWriteType::withResponse);
  peripheral->readValue(at(kOther));
  ASSERT_TRUE(waitUntil([&] { return !told.empty(); }));
  EXPECT_EQ(told, std::vector<std::string>{"value"});
  EXPECT_EQ(written, value);
  EXPECT_EQ(type, "request");
}

TEST_F(BluezRequests, MayBeMadeOnAnotherThreadWhileTheLoopTurns) {
  constexpr std::size_t kCount = 200;
  platform::CBCharacteristic& target = at(kStream);
  std::thread thread([&] {
    for (std::size_t i = 0; i < kCount; ++i) {
      peripheral->writeValue(Bytes{1}, target, platform::CBCharacteristicWriteType::withResponse);
    }
  });
  EXPECT_TRUE(waitUntil([&] { return bluez->count(stream, "WriteValue") == kCount; }));
  thread.join();
}

TEST_F(BluezRequests, ReadWithAMalformedAnswerFails) {
  bluez->on(stream, "ReadValue", [&](OwnedMessage call) { bluez->reply(call); });
  bluez->on(other, "ReadValue", [&](OwnedMessage call) { bluez->replyValue(call, Bytes(515, 1)); });
  peripheral->readValue(at(kStream));
  peripheral->readValue(at(kOther));
  ASSERT_TRUE(waitUntil([&] { return told.size() == 2; }));
  EXPECT_EQ(told, (std::vector<std::string>{"read failed", "read failed"}));
}

}  // namespace
}  // namespace bluez_tests
