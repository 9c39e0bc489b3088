#include "tests/support/ScriptedBluez.h"

#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <stdexcept>

namespace support {

using lab::Bytes;
using lab::Interfaces;
using lab::Properties;

void check(int result) {
  if (result < 0) throw std::runtime_error("sd-bus refuses");
}

ScriptedBluez::ScriptedBluez(lab::MessageBus& bus) : bus_(bus) {
  bus_.onCall = [this](OwnedMessage call) { received_.push_back(std::move(call)); };
  bus_.ownStackName();
}

ScriptedBluez::~ScriptedBluez() {
  received_.clear();
  bus_.loseStackName();
}

bool ScriptedBluez::serve() {
  const bool hasReceived = bus_.serve();
  while (!received_.empty()) {
    OwnedMessage call = std::move(received_.front());
    received_.pop_front();
    handleCall(std::move(call));
  }
  return hasReceived;
}

void ScriptedBluez::on(const std::string& path, const std::string& member, Handler handler) {
  handlers_[path + " " + member] = std::move(handler);
}

std::size_t ScriptedBluez::count(const std::string& path, const std::string& member) const {
  return static_cast<std::size_t>(std::ranges::count(calls_, path + " " + member));
}

void ScriptedBluez::replyValue(const OwnedMessage& call, const Bytes& value) {
  OwnedMessage reply = lab::MessageBus::newReply(call);
  check(sd_bus_message_append_array(reply.get(), 'y', value.data(), value.size()));
  bus_.sendReply(std::move(reply));
}

int ScriptedBluez::replySocket(const OwnedMessage& call) {
  std::array<int, 2> ends{};
  check(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, ends.data()));
  OwnedMessage reply = lab::MessageBus::newReply(call);
  check(sd_bus_message_append(reply.get(), "hq", ends[1], 517));
  bus_.sendReply(std::move(reply));
  close(ends[1]);
  return ends[0];
}

void ScriptedBluez::refuse(const OwnedMessage& call, const std::string& name,
                           const std::string& message) {
  bus_.sendError(call, name, message);
}

void ScriptedBluez::change(const std::string& path, const std::string& interface,
                           const Properties& changed) {
  for (const auto& [name, value] : changed) objects[path][interface][name] = value;
  signalChange(path, interface, changed);
}

void ScriptedBluez::add(const std::string& path, const Interfaces& interfaces) {
  objects[path].insert(interfaces.begin(), interfaces.end());
  lab::signalAdded(bus_, path, [&](sd_bus_message* message) { lab::append(message, interfaces); });
}

void ScriptedBluez::remove(const std::string& path) {
  std::vector<std::string> removed;
  for (const auto& [name, properties] : objects[path]) removed.push_back(name);
  objects.erase(path);
  lab::signalRemoved(bus_, path, removed);
}

void ScriptedBluez::handleCall(OwnedMessage call) {
  const std::string name = std::string(sd_bus_message_get_path(call.get())) + " " +
                           sd_bus_message_get_member(call.get());
  calls_.push_back(name);
  const auto handler = handlers_.find(name);
  if (handler != handlers_.end()) {
    const Handler decide = handler->second;  // it may replace itself
    decide(std::move(call));
  } else {
    otherwise(std::move(call));
  }
}

void ScriptedBluez::answer(const OwnedMessage& call) {
  const std::string member = sd_bus_message_get_member(call.get());
  if (member == "GetManagedObjects") return replyObjects(call);
  if (member == "Get") return replyProperty(call);
  reply(call);
}

void ScriptedBluez::replyObjects(const OwnedMessage& call) {
  OwnedMessage reply = lab::MessageBus::newReply(call);
  check(sd_bus_message_open_container(reply.get(), 'a', "{oa{sa{sv}}}"));
  // The real bluetoothd lists them in descending order of their paths.
  for (auto object = objects.rbegin(); object != objects.rend(); ++object) {
    check(sd_bus_message_open_container(reply.get(), 'e', "oa{sa{sv}}"));
    check(sd_bus_message_append(reply.get(), "o", object->first.c_str()));
    lab::append(reply.get(), object->second);
    check(sd_bus_message_close_container(reply.get()));
  }
  check(sd_bus_message_close_container(reply.get()));
  bus_.sendReply(std::move(reply));
}

void ScriptedBluez::replyProperty(const OwnedMessage& call) {
  const char* interface = nullptr;
  const char* name = nullptr;
  check(sd_bus_message_read(call.get(), "ss", &interface, &name));
  const auto object = objects.find(sd_bus_message_get_path(call.get()));
  if (object == objects.end() || !object->second[interface].contains(name)) {
    return refuse(call, SD_BUS_ERROR_UNKNOWN_OBJECT, "Unknown");
  }
  OwnedMessage reply = lab::MessageBus::newReply(call);
  lab::append(reply.get(), object->second[interface].at(name));
  bus_.sendReply(std::move(reply));
}

}  // namespace support
