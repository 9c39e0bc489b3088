// A bluetoothd that answers when and what it is told to, and signals anything, on the simulated
// bus. Nothing waits: bridge and BlueZ are served in turns until neither has more to do.
#pragma once

#include <deque>
#include <string>
#include <vector>

#include "tests/fuzz/BusMessage.h"
#include "tests/oracle/subject/Choices.h"
#include "tests/support/ScriptedBluez.h"

namespace fuzz {

class AnyBluez {
 public:
  AnyBluez();
  AnyBluez(const AnyBluez&) = delete;
  AnyBluez& operator=(const AnyBluez&) = delete;
  ~AnyBluez();

  lab::MessageBus bus;

  // Receives calls, which wait to be answered; the bus answers those that set up its connection.
  // False when there was nothing to do.
  bool serve() { return bluez_.serve(); }

  // Answer one of the waiting calls: as BlueZ would, with an error, or with anything.
  void answerRightly(std::size_t call, subject::Choices& choices);
  void answerWithError(std::size_t call, subject::Choices& choices);
  void answerWithAnything(std::size_t call, subject::Choices& choices);

  void signalOwner(subject::Choices& choices);
  void signalAdded(subject::Choices& choices);
  void signalRemoved(subject::Choices& choices);
  void signalChanged(subject::Choices& choices);

  // Sends a packet through a subscription's socket; closes one.
  void notify(subject::Choices& choices);
  void endSocket(subject::Choices& choices);

 private:
  Message takeCall(std::size_t call);
  void send(const Message& call, Message reply);
  void sendSignal(const std::string& sender, const std::string& path, const char* interface,
                  const char* member, const std::string& signature, subject::Choices& choices);
  void forgetClient();

  support::ScriptedBluez bluez_{bus};
  std::deque<Message> calls_;
  std::vector<int> sockets_;
};

}  // namespace fuzz
