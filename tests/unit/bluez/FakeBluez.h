// Something that looks like bluetoothd on the played bus, and does what a test tells it: also what
// the real one does only at moments that cannot be provoked. It acts in serve().
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <string>
#include <variant>
#include <vector>

#include "lab/bluetoothd/MessageBus.h"

namespace bluez_tests {

using Bytes = std::vector<std::uint8_t>;
using Property = std::variant<bool, std::uint8_t, std::int16_t, std::string, Bytes>;
using Properties = std::map<std::string, Property>;
using Interfaces = std::map<std::string, Properties>;

using OwnedMessage = lab::BusMessage;

// Throws what sd-bus refuses.
void check(int result);

class FakeBluez {
 public:
  // Owns org.bluez for as long as it lives. Its objects are the caller's to fill in.
  explicit FakeBluez(lab::MessageBus& bus);
  FakeBluez(const FakeBluez&) = delete;
  FakeBluez& operator=(const FakeBluez&) = delete;
  ~FakeBluez();

  std::map<std::string, Interfaces> objects;

  // Answers what has been asked. Not asked for by a handler: a method of a device or characteristic
  // gets an empty reply.
  void serve();

  // Decides about one method, by "path Member". It replies by the functions below, now or later, or
  // never.
  using Handler = std::function<void(OwnedMessage call)>;
  void on(const std::string& path, const std::string& member, Handler handler);

  // How often a method was called, by "path Member", and all in order.
  std::size_t count(const std::string& path, const std::string& member) const;
  const std::vector<std::string>& calls() const { return calls_; }

  // The contents by sd-bus's letters for types.
  template <typename... Contents>
  void reply(const OwnedMessage& call, const char* types, Contents... contents) {
    OwnedMessage reply = lab::MessageBus::newReply(call);
    check(sd_bus_message_append(reply.get(), types, contents...));
    bus_.sendReply(std::move(reply));
  }
  void reply(const OwnedMessage& call) { reply(call, ""); }
  // All objects as they are now, which answers GetManagedObjects.
  void replyObjects(const OwnedMessage& call);
  void replyValue(const OwnedMessage& call, const Bytes& value);
  // Gives the characteristic's socket away; returns the end into which values are written.
  int replySocket(const OwnedMessage& call);
  void refuse(const OwnedMessage& call, const std::string& name, const std::string& message);

  // Signals, with the change made in objects first.
  void change(const std::string& path, const std::string& interface, const Properties& changed);
  void signalChange(const std::string& path, const std::string& interface,
                    const Properties& changed);
  void add(const std::string& path, const Interfaces& interfaces);
  void remove(const std::string& path);

 private:
  void handleCall(OwnedMessage call);
  void replyProperty(const OwnedMessage& call);

  lab::MessageBus& bus_;
  std::deque<OwnedMessage> received_;
  std::map<std::string, Handler> handlers_;
  std::vector<std::string> calls_;
};

}  // namespace bluez_tests
