// Something that looks like bluetoothd on the bus, and does what a test tells it: also what the
// real one does only at moments that cannot be provoked. It lives on the test's thread and acts in
// serve().
#pragma once

#include <systemd/sd-bus.h>

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace bluez_tests {

using Bytes = std::vector<std::uint8_t>;
using Property = std::variant<bool, std::uint8_t, std::int16_t, std::string, Bytes>;
using Properties = std::map<std::string, Property>;
using Interfaces = std::map<std::string, Properties>;

struct DropMessage {
  void operator()(sd_bus_message* message) const { sd_bus_message_unref(message); }
};
using OwnedMessage = std::unique_ptr<sd_bus_message, DropMessage>;

class FakeBluez {
 public:
  // Owns org.bluez from the start. Its objects are the caller's to fill in.
  FakeBluez();
  FakeBluez(const FakeBluez&) = delete;
  FakeBluez& operator=(const FakeBluez&) = delete;

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

  void reply(sd_bus_message& call);
  // All objects as they are now, which answers GetManagedObjects.
  void replyObjects(sd_bus_message& call);
  void replyValue(sd_bus_message& call, const Bytes& value);
  // Gives the characteristic's socket away; returns the end into which values are written.
  int replySocket(sd_bus_message& call);
  void refuse(sd_bus_message& call, const std::string& name, const std::string& message);

  // Signals, with the change made in objects first.
  void change(const std::string& path, const std::string& interface, const Properties& changed);
  void signalChange(const std::string& path, const std::string& interface,
                    const Properties& changed);
  void add(const std::string& path, const Interfaces& interfaces);
  void remove(const std::string& path);

  // Waits until the D-Bus daemon has passed on all that was sent.
  void waitForDaemon();

  sd_bus* bus() const { return bus_.get(); }

 private:
  struct Close {
    void operator()(sd_bus* bus) const { sd_bus_flush_close_unref(bus); }
  };

  static int handle(sd_bus_message* call, void* self, sd_bus_error* error);
  void handleCall(sd_bus_message& call);
  void replyProperty(sd_bus_message& call);

  std::unique_ptr<sd_bus, Close> bus_;
  std::map<std::string, Handler> handlers_;
  std::vector<std::string> calls_;
};

}  // namespace bluez_tests
