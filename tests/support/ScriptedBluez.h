// Plays bluetoothd on the simulated bus as the test prescribes, also what the real one does only at
// moments that a test cannot bring about. It answers in serve().
#pragma once

#include <deque>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "lab/bluetoothd/BusObjects.h"
#include "lab/bluetoothd/MessageBus.h"

namespace support {

using OwnedMessage = lab::BusMessage;

// Throws when sd-bus reports an error.
void check(int result);

class ScriptedBluez {
 public:
  // Owns org.bluez for as long as it exists. The test fills in its objects.
  explicit ScriptedBluez(lab::MessageBus& bus);
  ScriptedBluez(const ScriptedBluez&) = delete;
  ScriptedBluez& operator=(const ScriptedBluez&) = delete;
  ~ScriptedBluez();

  std::map<std::string, lab::Interfaces> objects;

  // Answers the calls that came in. False when there was nothing to do.
  bool serve();

  // Sets the handler of one method of one object. It replies by the functions below, now, later or
  // never.
  using Handler = std::function<void(OwnedMessage call)>;
  void on(const std::string& path, const std::string& member, Handler handler);
  // Gets the calls without a handler of their own.
  Handler otherwise = [this](const OwnedMessage& call) { answer(call); };

  // As bluetoothd would from the objects; for a device or a characteristic with an empty reply.
  void answer(const OwnedMessage& call);

  // How often a method of an object was called; and all calls in order, as "path Member".
  std::size_t count(const std::string& path, const std::string& member) const;
  const std::vector<std::string>& calls() const { return calls_; }

  // types, contents: as for sd_bus_message_append.
  template <typename... Contents>
  void reply(const OwnedMessage& call, const char* types, Contents... contents) {
    OwnedMessage reply = lab::MessageBus::newReply(call);
    check(sd_bus_message_append(reply.get(), types, contents...));
    bus_.sendReply(std::move(reply));
  }
  void reply(const OwnedMessage& call) { reply(call, ""); }
  // Answers GetManagedObjects with all objects as they are now.
  void replyObjects(const OwnedMessage& call);
  void replyValue(const OwnedMessage& call, const lab::Bytes& value);
  // Answers AcquireNotify with a socket; returns the end into which values are to be written.
  int replySocket(const OwnedMessage& call);
  void refuse(const OwnedMessage& call, const std::string& name, const std::string& message);

  // Each changes objects and signals the change.
  void change(const std::string& path, const std::string& interface,
              const lab::Properties& changed);
  void add(const std::string& path, const lab::Interfaces& interfaces);
  void remove(const std::string& path);
  // Signals a change and leaves objects as they are.
  void signalChange(const std::string& path, const std::string& interface,
                    const lab::Properties& changed) {
    lab::signalChange(bus_, path, interface, changed);
  }

 private:
  void handleCall(OwnedMessage call);
  void replyProperty(const OwnedMessage& call);

  lab::MessageBus& bus_;
  std::deque<OwnedMessage> received_;
  std::map<std::string, Handler> handlers_;
  std::vector<std::string> calls_;
};

}  // namespace support
