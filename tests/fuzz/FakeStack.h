// The far end of the bridge's D-Bus connection: a message bus and BlueZ in one, in this process and
// on this thread. Nothing waits: the bridge's turn, then this one's, until neither has more to do.
#pragma once

#include <systemd/sd-bus.h>

#include <deque>
#include <string>
#include <vector>

#include "tests/fuzz/BusMessage.h"
#include "tests/oracle/subject/Choices.h"

namespace fuzz {

class FakeStack {
 public:
  // From now on the system bus is here. One at a time.
  FakeStack();
  FakeStack(const FakeStack&) = delete;
  FakeStack& operator=(const FakeStack&) = delete;
  ~FakeStack();

  // Takes the connection that the bridge has asked for.
  void accept();

  // Receives and answers what a message bus answers by itself; calls to BlueZ are kept. False when
  // there was nothing to do.
  bool serve();

  std::size_t callCount() const { return calls_.size(); }

  // Answers one of the calls that wait: as BlueZ would, with an error, or with anything.
  void answerRightly(std::size_t call, subject::Choices& choices);
  void answerWithError(std::size_t call, subject::Choices& choices);
  void answerWithAnything(std::size_t call, subject::Choices& choices);

  void signalOwner(subject::Choices& choices);
  void signalAdded(subject::Choices& choices);
  void signalRemoved(subject::Choices& choices);
  void signalChanged(subject::Choices& choices);

  // A packet through a subscription's socket, or the socket's end.
  void notify(subject::Choices& choices);
  void endSocket(subject::Choices& choices);

  void hangUp();

 private:
  static int receive(sd_bus_message* message, void* stack, sd_bus_error* error);
  void handle(sd_bus_message* call);
  Message takeCall(std::size_t call);
  void send(sd_bus_message* message, const char* sender);
  void sendSignal(const char* path, const char* interface, const char* member,
                  const std::string& signature, subject::Choices& choices);
  void acquire(sd_bus_message* reply);

  sd_bus* bus_ = nullptr;
  bool didHandle_ = false;
  std::deque<Message> calls_;
  std::vector<int> sockets_;
};

}  // namespace fuzz
