// The other end of the bridge's D-Bus connection: message bus and BlueZ in one, on the bridge's own
// thread. Nothing waits: bridge and stack are served in turns until neither has more to do.
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
  // Takes the place of the system bus for this process. One at a time.
  FakeStack();
  FakeStack(const FakeStack&) = delete;
  FakeStack& operator=(const FakeStack&) = delete;
  ~FakeStack();

  // Accepts the connection that the bridge has asked for.
  void accept();

  // Receives calls and answers those to the bus; calls to BlueZ wait to be answered. False when
  // there was nothing to do.
  bool serve();

  std::size_t callCount() const { return calls_.size(); }

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
