// The system's message bus as one program sees it, played in this process: the program's connection
// comes in over a socket of its own, the bus answers what the D-Bus daemon answers, and hands calls
// to org.bluez to whoever plays bluetoothd. Nothing here waits: serve() does what there is to do.
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
  // Puts itself in the system bus's place, for this process. One at a time.
  MessageBus();
  MessageBus(const MessageBus&) = delete;
  MessageBus& operator=(const MessageBus&) = delete;
  ~MessageBus();

  // A method call to org.bluez.
  std::function<void(BusMessage call)> onCall;
  // A call to the bus itself: true when it is answered, or is to have no answer. The others are
  // answered as the daemon does where org.bluez cannot be started.
  std::function<bool(const std::string& member, const BusMessage& call)> onBusCall;
  // The program's connection has ended.
  std::function<void()> onClientGone;

  // What DBUS_SYSTEM_BUS_ADDRESS has to be for another program to come to the bus of that process.
  static std::string addressOf(pid_t process);

  // Takes the connection that the program has asked for.
  void accept();
  // The program is gone: its connection ends.
  void hangUp();
  bool hasClient() const { return bus_ != nullptr; }

  // Receives and sends. False when there was nothing to do.
  bool serve();

  // What to wait for, where time is real: for a program that asks for its connection, and then for
  // what serve() has to do.
  pollfd wanted() const;

  // The name's owner comes or goes; calls that wait are answered that there will be no reply.
  void ownStackName();
  void loseStackName();
  bool isStackThere() const { return !owner_.empty(); }

  BusMessage newSignal(const std::string& path, const char* interface, const char* member);
  // To the program, if it listens. firstArgument: of a PropertiesChanged.
  void sendSignal(BusMessage signal, const char* firstArgument = nullptr);
  // Straight to the program, as anybody on the bus may, listened for or not. The daemon's name is a
  // sender as well.
  void sendFrom(const std::string& sender, BusMessage signal);

  // Calls to org.bluez without an answer, but for Connect; one that will never have one is
  // forgotten.
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
  void send(sd_bus_message* message, const std::string& sender);

  sd_bus* bus_ = nullptr;
  bool didHandle_ = false;
  std::string owner_;
  int ownerCount_ = 0;
  std::vector<Match> matches_;
  std::vector<BusMessage> unanswered_;  // calls to org.bluez
};

}  // namespace lab
