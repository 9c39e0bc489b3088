#include "FakeBluez.h"

#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <stdexcept>

namespace bluez_tests {

namespace {

void check(int result) {
  if (result < 0) throw std::runtime_error("sd-bus refuses");
}

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
    // sd-bus takes less from a caller than BlueZ sends: noncharacters.
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

OwnedMessage newReply(sd_bus_message& call) {
  sd_bus_message* reply = nullptr;
  check(sd_bus_message_new_method_return(&call, &reply));
  return OwnedMessage(reply);
}

OwnedMessage newSignal(sd_bus* bus, const std::string& path, const char* interface,
                       const char* member) {
  sd_bus_message* signal = nullptr;
  check(sd_bus_message_new_signal(bus, &signal, path.c_str(), interface, member));
  return OwnedMessage(signal);
}

void send(const OwnedMessage& message) {
  check(sd_bus_send(nullptr, message.get(), nullptr));
}

}  // namespace

FakeBluez::FakeBluez() {
  sd_bus* bus = nullptr;
  check(sd_bus_open_system(&bus));
  bus_.reset(bus);
  check(sd_bus_add_filter(bus, nullptr, handle, this));
  check(sd_bus_request_name(bus, "org.bluez", 0));
}

void FakeBluez::serve() {
  while (sd_bus_process(bus_.get(), nullptr) > 0) {
  }
}

void FakeBluez::on(const std::string& path, const std::string& member, Handler handler) {
  handlers_[path + " " + member] = std::move(handler);
}

std::size_t FakeBluez::count(const std::string& path, const std::string& member) const {
  return static_cast<std::size_t>(std::ranges::count(calls_, path + " " + member));
}

void FakeBluez::reply(sd_bus_message& call) {
  send(newReply(call));
}

void FakeBluez::replyValue(sd_bus_message& call, const Bytes& value) {
  const OwnedMessage reply = newReply(call);
  check(sd_bus_message_append_array(reply.get(), 'y', value.data(), value.size()));
  send(reply);
}

int FakeBluez::replySocket(sd_bus_message& call) {
  std::array<int, 2> ends{};
  check(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, ends.data()));
  const OwnedMessage reply = newReply(call);
  check(sd_bus_message_append(reply.get(), "hq", ends[1], 517));
  send(reply);
  close(ends[1]);
  return ends[0];
}

void FakeBluez::refuse(sd_bus_message& call, const std::string& name, const std::string& message) {
  check(sd_bus_reply_method_errorf(&call, name.c_str(), "%s", message.c_str()));
}

void FakeBluez::change(const std::string& path, const std::string& interface,
                       const Properties& changed) {
  for (const auto& [name, value] : changed) objects[path][interface][name] = value;
  signalChange(path, interface, changed);
}

void FakeBluez::signalChange(const std::string& path, const std::string& interface,
                             const Properties& changed) {
  const OwnedMessage signal =
      newSignal(bus_.get(), path, "org.freedesktop.DBus.Properties", "PropertiesChanged");
  check(sd_bus_message_append(signal.get(), "s", interface.c_str()));
  append(signal.get(), changed);
  check(sd_bus_message_append(signal.get(), "as", 0));
  send(signal);
}

void FakeBluez::add(const std::string& path, const Interfaces& interfaces) {
  objects[path].insert(interfaces.begin(), interfaces.end());
  const OwnedMessage signal =
      newSignal(bus_.get(), "/", "org.freedesktop.DBus.ObjectManager", "InterfacesAdded");
  check(sd_bus_message_append(signal.get(), "o", path.c_str()));
  append(signal.get(), interfaces);
  send(signal);
}

void FakeBluez::waitForDaemon() {
  sd_bus_call_method(bus(), "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
                     "GetId", nullptr, nullptr, "");
}

void FakeBluez::remove(const std::string& path) {
  const OwnedMessage signal =
      newSignal(bus_.get(), "/", "org.freedesktop.DBus.ObjectManager", "InterfacesRemoved");
  check(sd_bus_message_append(signal.get(), "o", path.c_str()));
  check(sd_bus_message_open_container(signal.get(), 'a', "s"));
  for (const auto& [name, properties] : objects[path]) {
    check(sd_bus_message_append(signal.get(), "s", name.c_str()));
  }
  check(sd_bus_message_close_container(signal.get()));
  objects.erase(path);
  send(signal);
}

int FakeBluez::handle(sd_bus_message* call, void* self, sd_bus_error* /*error*/) {
  if (sd_bus_message_is_method_call(call, nullptr, nullptr) <= 0) return 0;
  static_cast<FakeBluez*>(self)->handleCall(*call);
  return 1;
}

void FakeBluez::handleCall(sd_bus_message& call) {
  const std::string member = sd_bus_message_get_member(&call);
  const std::string name = std::string(sd_bus_message_get_path(&call)) + " " + member;
  calls_.push_back(name);
  const auto handler = handlers_.find(name);
  if (handler != handlers_.end()) {
    const Handler decide = handler->second;  // it may replace itself
    decide(OwnedMessage(sd_bus_message_ref(&call)));
  } else if (member == "GetManagedObjects") {
    replyObjects(call);
  } else if (member == "Get") {
    replyProperty(call);
  } else {
    reply(call);
  }
}

void FakeBluez::replyObjects(sd_bus_message& call) {
  const OwnedMessage reply = newReply(call);
  check(sd_bus_message_open_container(reply.get(), 'a', "{oa{sa{sv}}}"));
  // The real one has them in this order.
  for (auto object = objects.rbegin(); object != objects.rend(); ++object) {
    check(sd_bus_message_open_container(reply.get(), 'e', "oa{sa{sv}}"));
    check(sd_bus_message_append(reply.get(), "o", object->first.c_str()));
    append(reply.get(), object->second);
    check(sd_bus_message_close_container(reply.get()));
  }
  check(sd_bus_message_close_container(reply.get()));
  send(reply);
}

void FakeBluez::replyProperty(sd_bus_message& call) {
  const char* interface = nullptr;
  const char* name = nullptr;
  check(sd_bus_message_read(&call, "ss", &interface, &name));
  const auto object = objects.find(sd_bus_message_get_path(&call));
  if (object == objects.end() || !object->second[interface].contains(name)) {
    return refuse(call, SD_BUS_ERROR_UNKNOWN_OBJECT, "Unknown");
  }
  const OwnedMessage reply = newReply(call);
  append(reply.get(), object->second[interface].at(name));
  send(reply);
}

}  // namespace bluez_tests
