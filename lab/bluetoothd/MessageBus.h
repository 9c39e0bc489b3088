// A simulated system message bus for one program: the program connects over a real socket, the bus
// answers what the D-Bus daemon answers, and passes the calls to org.bluez to the model of
// bluetoothd. Nothing here waits: serve() does what there is to do and returns.
#pragma once

#include <poll.h>
#include <sys/types.h>
#include <systemd/sd-bus.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace lab {

struct DropMessage {
  void operator()(sd_bus_message* message) const { sd_bus_message_unref(message); }
};
using BusMessage = std::unique_ptr<sd_bus_message, DropMessage>;

class MessageBus {
 public:
  // Takes the place of the system bus for this process. One at a time.
  MessageBus();
  MessageBus(const MessageBus&) = delete;
  MessageBus& operator=(const MessageBus&) = delete;
  ~MessageBus();

  // A method call to org.bluez.
  std::function<void(BusMessage call)> onCall;
  // A call to the bus itself: true when it is answered, or is to have no answer. The others are
  // answered as the daemon does where org.bluez cannot be started.
  std::function<bool(const std::string& member, const BusMessage& call)> onBusCall;
  // What a monitor of the bus sees of bluetoothd: calls to it, their answers, its signals, whether
  // the program listens or not, and the changes of its name's owner.
  std::function<void(sd_bus_message* message)> onTraffic;
  // The program's connection has ended.
  std::function<void()> onClientGone;

  // The DBUS_SYSTEM_BUS_ADDRESS with which another program connects to the bus of that process.
  static std::string addressOf(pid_t process);

  // Accepts the connection that the program has asked for.
  void accept();
  // Ends the program's connection.
  void hangUp();
  bool hasClient() const { return bus_ != nullptr; }

  // Receives and sends. False when there was nothing to do.
  bool serve();

  // What to poll for where time is real: until a program has connected, for that connection, and
  // then for work for serve().
  pollfd wanted() const;

  // The name org.bluez gets an owner, or loses it; calls without an answer then fail with NoReply.
  void ownStackName();
  void loseStackName();
  // The owner's name on the bus; empty while there is none.
  const std::string& stackOwner() const { return owner_; }

  BusMessage newSignal(const std::string& path, const char* interface, const char* member);
  // Sends a signal of bluetoothd to the program if one of its match rules fits. firstArgument is
  // what a rule's arg0 is compared with: the interface of a PropertiesChanged.
  void sendSignal(BusMessage signal, const char* firstArgument = nullptr);
  // Sends a signal straight to the program, whatever its match rules: any program on the bus may do
  // so. The sender may also be the bus itself.
  void sendFrom(const std::string& sender, BusMessage signal);

  // The number of calls to org.bluez without an answer, Connect left out. forget() removes one that
  // will never be answered.
  std::size_t unansweredCount() const;
  void forget(const BusMessage& call);

  static BusMessage newReply(const BusMessage& call);
  void sendReply(BusMessage reply);
  void sendError(const BusMessage& call, const std::string& name, const std::string& text);

 private:
  struct Match {
    std::string rule;
    std::string interface;
    std::string member;
    std::string path;
    std::string pathNamespace;
    std::string firstArgument;
  };

  static int receive(sd_bus_message* message, void* self, sd_bus_error* error);
  void handle(sd_bus_message* call);
  void handleDaemonCall(const BusMessage& call, const std::string& member);
  void changeOwner(const std::string& owner);
  bool forget(std::uint64_t cookie);
  bool isWanted(sd_bus_message* signal, const char* firstArgument) const;
  void sendIfWanted(sd_bus_message* signal, const char* firstArgument, const std::string& sender);
  void send(sd_bus_message* message, const std::string& sender);

  sd_bus* bus_ = nullptr;
  bool didHandle_ = false;
  std::string owner_;
  int ownerCount_ = 0;
  std::vector<Match> matches_;
  std::vector<BusMessage> unanswered_;  // calls to org.bluez
};

}  // namespace lab
