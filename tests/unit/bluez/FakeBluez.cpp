#include "FakeBluez.h"

#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <stdexcept>

namespace bluez_tests {

void check(int result) {
  if (result < 0) throw std::runtime_error("sd-bus refuses");
}

namespace {

void append(sd_bus_message* message, const Property& property) {
  struct Append {
    sd_bus_message* message;
    int operator()(bool value) const { return sd_bus_message_append(message, "v", "b", value); }
    int operator()(std::uint8_t value) const {
      return sd_bus_message_append(message, "v", "y", value);
    }
    int operator()(std::int16_t value) const {
      return sd_bus_message_append(message, "v", "n", value);
    }
    // sd-bus refuses to write noncharacters, which BlueZ sends, so they are written over its text.
    int operator()(const std::string& value) const {
      char* place = nullptr;
      check(sd_bus_message_open_container(message, 'v', "s"));
      check(sd_bus_message_append_string_space(message, value.size(), &place));
      std::ranges::copy(value, place);
      return sd_bus_message_close_container(message);
    }
    int operator()(const Bytes& value) const {
      check(sd_bus_message_open_container(message, 'v', "ay"));
      check(sd_bus_message_append_array(message, 'y', value.data(), value.size()));
      return sd_bus_message_close_container(message);
    }
  };
  check(std::visit(Append{message}, property));
}

void append(sd_bus_message* message, const Properties& properties) {
  check(sd_bus_message_open_container(message, 'a', "{sv}"));
  for (const auto& [name, property] : properties) {
    check(sd_bus_message_open_container(message, 'e', "sv"));
    check(sd_bus_message_append(message, "s", name.c_str()));
    append(message, property);
    check(sd_bus_message_close_container(message));
  }
  check(sd_bus_message_close_container(message));
}

void append(sd_bus_message* message, const Interfaces& interfaces) {
  check(sd_bus_message_open_container(message, 'a', "{sa{sv}}"));
  for (const auto& [name, properties] : interfaces) {
    check(sd_bus_message_open_container(message, 'e', "sa{sv}"));
    check(sd_bus_message_append(message, "s", name.c_str()));
    append(message, properties);
    check(sd_bus_message_close_container(message));
  }
  check(sd_bus_message_close_container(message));
}

}  // namespace

FakeBluez::FakeBluez(lab::MessageBus& bus) : bus_(bus) {
  bus_.onCall = [this](OwnedMessage call) { received_.push_back(std::move(call)); };
  bus_.ownStackName();
}

FakeBluez::~FakeBluez() {
  received_.clear();
  bus_.loseStackName();
}

void FakeBluez::serve() {
  bus_.serve();
  while (!received_.empty()) {
    OwnedMessage call = std::move(received_.front());
    received_.pop_front();
    handleCall(std::move(call));
  }
}

void FakeBluez::on(const std::string& path, const std::string& member, Handler handler) {
  handlers_[path + " " + member] = std::move(handler);
}

std::size_t FakeBluez::count(const std::string& path, const std::string& member) const {
  return static_cast<std::size_t>(std::ranges::count(calls_, path + " " + member));
}

void FakeBluez::replyValue(const OwnedMessage& call, const Bytes& value) {
  OwnedMessage reply = lab::MessageBus::newReply(call);
  check(sd_bus_message_append_array(reply.get(), 'y', value.data(), value.size()));
  bus_.sendReply(std::move(reply));
}

int FakeBluez::replySocket(const OwnedMessage& call) {
  std::array<int, 2> ends{};
  check(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, ends.data()));
  OwnedMessage reply = lab::MessageBus::newReply(call);
  check(sd_bus_message_append(reply.get(), "hq", ends[1], 517));
  bus_.sendReply(std::move(reply));
  close(ends[1]);
  return ends[0];
}

void FakeBluez::refuse(const OwnedMessage& call, const std::string& name,
                       const std::string& message) {
  bus_.sendError(call, name, message);
}

void FakeBluez::change(const std::string& path, const std::string& interface,
                       const Properties& changed) {
  for (const auto& [name, value] : changed) objects[path][interface][name] = value;
  signalChange(path, interface, changed);
}

void FakeBluez::signalChange(const std::string& path, const std::string& interface,
                             const Properties& changed) {
  OwnedMessage signal =
      bus_.newSignal(path, "org.freedesktop.DBus.Properties", "PropertiesChanged");
  if (signal == nullptr) return;
  check(sd_bus_message_append(signal.get(), "s", interface.c_str()));
  append(signal.get(), changed);
  check(sd_bus_message_append(signal.get(), "as", 0));
  bus_.sendSignal(std::move(signal), interface.c_str());
}

void FakeBluez::add(const std::string& path, const Interfaces& interfaces) {
  objects[path].insert(interfaces.begin(), interfaces.end());
  OwnedMessage signal =
      bus_.newSignal("/", "org.freedesktop.DBus.ObjectManager", "InterfacesAdded");
  if (signal == nullptr) return;
  check(sd_bus_message_append(signal.get(), "o", path.c_str()));
  append(signal.get(), interfaces);
  bus_.sendSignal(std::move(signal));
}

void FakeBluez::remove(const std::string& path) {
  OwnedMessage signal =
      bus_.newSignal("/", "org.freedesktop.DBus.ObjectManager", "InterfacesRemoved");
  const Interfaces removed = std::move(objects[path]);
  objects.erase(path);
  if (signal == nullptr) return;
  check(sd_bus_message_append(signal.get(), "o", path.c_str()));
  check(sd_bus_message_open_container(signal.get(), 'a', "s"));
  for (const auto& [name, properties] : removed) {
    check(sd_bus_message_append(signal.get(), "s", name.c_str()));
  }
  check(sd_bus_message_close_container(signal.get()));
  bus_.sendSignal(std::move(signal));
}

void FakeBluez::handleCall(OwnedMessage call) {
  const std::string member = sd_bus_message_get_member(call.get());
  const std::string name = std::string(sd_bus_message_get_path(call.get())) + " " + member;
  calls_.push_back(name);
  const auto handler = handlers_.find(name);
  if (handler != handlers_.end()) {
    const Handler decide = handler->second;  // it may replace itself
    decide(std::move(call));
  } else if (member == "GetManagedObjects") {
    replyObjects(call);
  } else if (member == "Get") {
    replyProperty(call);
  } else {
    reply(call);
  }
}

void FakeBluez::replyObjects(const OwnedMessage& call) {
  OwnedMessage reply = lab::MessageBus::newReply(call);
  check(sd_bus_message_open_container(reply.get(), 'a', "{oa{sa{sv}}}"));
  // The real bluetoothd lists them in descending order of their paths.
  for (auto object = objects.rbegin(); object != objects.rend(); ++object) {
    check(sd_bus_message_open_container(reply.get(), 'e', "oa{sa{sv}}"));
    check(sd_bus_message_append(reply.get(), "o", object->first.c_str()));
    append(reply.get(), object->second);
    check(sd_bus_message_close_container(reply.get()));
  }
  check(sd_bus_message_close_container(reply.get()));
  bus_.sendReply(std::move(reply));
}

void FakeBluez::replyProperty(const OwnedMessage& call) {
  const char* interface = nullptr;
  const char* name = nullptr;
  check(sd_bus_message_read(call.get(), "ss", &interface, &name));
  const auto object = objects.find(sd_bus_message_get_path(call.get()));
  if (object == objects.end() || !object->second[interface].contains(name)) {
    return refuse(call, SD_BUS_ERROR_UNKNOWN_OBJECT, "Unknown");
  }
  OwnedMessage reply = lab::MessageBus::newReply(call);
  append(reply.get(), object->second[interface].at(name));
  bus_.sendReply(std::move(reply));
}

}  // namespace bluez_tests
