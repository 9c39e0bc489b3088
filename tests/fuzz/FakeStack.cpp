#include "tests/fuzz/FakeStack.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <cstring>

#include "tests/fuzz/Fuzz.h"
#include "tests/oracle/Identifiers.h"

namespace fuzz {

namespace {

using subject::Choices;

constexpr const char* stackName = ":1.5";
constexpr const char* daemonName = "org.freedesktop.DBus";

// The listening socket, kept for the whole life of the program.
int listener() {
  static const int socket = [] {
    const std::string name = "vornix-fuzz-" + std::to_string(getpid());
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path + 1, name.data(), name.size());
    const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + name.size());
    const int made = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    expect(made >= 0 && bind(made, reinterpret_cast<sockaddr*>(&address), length) == 0 &&
               listen(made, 4) == 0,
           "no socket to listen on");
    setenv("DBUS_SYSTEM_BUS_ADDRESS", ("unix:abstract=" + name).c_str(), 1);
    return made;
  }();
  return socket;
}

bool isCall(sd_bus_message* message, const char* member) {
  return sd_bus_message_is_method_call(message, nullptr, member) > 0;
}

// One of three devices, two of them on the same adapter.
std::string devicePath(Choices& choices) {
  constexpr std::array paths = {"/org/bluez/hci0/dev_01", "/org/bluez/hci0/dev_02",
                                "/org/bluez/hci1/dev_01"};
  return paths[choices.below(paths.size())];
}

std::string characteristicPath(Choices& choices) {
  constexpr std::array parts = {"/service0001/char0002", "/service0001/char0005",
                                "/service0010/char0011"};
  return devicePath(choices) + parts[choices.below(parts.size())];
}

void appendObject(sd_bus_message* message, const std::string& path, const char* interface,
                  const std::string& uuid) {
  sd_bus_message_open_container(message, 'e', "oa{sa{sv}}");
  sd_bus_message_append(message, "o", path.c_str());
  sd_bus_message_append(message, "a{sa{sv}}", 1, interface, 1, "UUID", "s", uuid.c_str());
  sd_bus_message_close_container(message);
}

void appendDevice(sd_bus_message* message, Choices& choices) {
  const std::string path = devicePath(choices);
  const bool isResolved = choices.flag();
  sd_bus_message_append(message, "{oa{sa{sv}}}", path.c_str(), 1, "org.bluez.Device1", 4, "Name",
                        "s", choices.flag() ? "Tramsel-12" : "Nomsuel", "Connected", "b",
                        choices.below(4) == 0 ? 0 : 1, "ServicesResolved", "b", isResolved ? 1 : 0,
                        "RSSI", "n", -60);
  if (!isResolved) return;
  if (choices.below(4) == 1) {
    sd_bus_message_append(message, "{oa{sa{sv}}}", path.c_str(), 1, "org.bluez.Battery1", 1,
                          "Percentage", "y", choices.byte());
  }
  const auto service = std::string(oracle::everyService()[choices.below(12)]);
  appendObject(message, path + "/service0001", "org.bluez.GattService1", service);
  for (const char* part : {"/service0001/char0002", "/service0001/char0005"}) {
    const auto uuid = std::string(oracle::everyCharacteristic()[choices.below(25)]);
    appendObject(message, path + part, "org.bluez.GattCharacteristic1", uuid);
  }
}

void appendObjects(sd_bus_message* message, Choices& choices) {
  sd_bus_message_open_container(message, 'a', "{oa{sa{sv}}}");
  for (const char* adapter : {"/org/bluez/hci0", "/org/bluez/hci1"}) {
    if (choices.below(4) == 3) continue;
    sd_bus_message_append(message, "{oa{sa{sv}}}", adapter, 1, "org.bluez.Adapter1", 1, "Powered",
                          "b", choices.below(8) == 7 ? 0 : 1);
  }
  for (std::size_t count = choices.below(4); count > 0; --count) appendDevice(message, choices);
  sd_bus_message_close_container(message);
}

}  // namespace

FakeStack::FakeStack() {
  listener();
}

FakeStack::~FakeStack() {
  hangUp();
}

void FakeStack::accept() {
  const int socket = ::accept4(listener(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
  const sd_id128_t id =
      SD_ID128_MAKE(01, 02, 03, 04, 05, 06, 07, 08, 09, 0a, 0b, 0c, 0d, 0e, 0f, 10);
  expect(socket >= 0 && sd_bus_new(&bus_) >= 0 && sd_bus_set_fd(bus_, socket, socket) >= 0 &&
             sd_bus_set_server(bus_, 1, id) >= 0 && sd_bus_negotiate_fds(bus_, 1) >= 0 &&
             sd_bus_add_filter(bus_, nullptr, receive, this) >= 0 && sd_bus_start(bus_) >= 0,
         "no connection");
}

bool FakeStack::serve() {
  didHandle_ = false;
  if (bus_ == nullptr) return false;
  int served = 1;
  while (served > 0) served = sd_bus_process(bus_, nullptr);
  if (served < 0) hangUp();
  return didHandle_;
}

int FakeStack::receive(sd_bus_message* message, void* stack, sd_bus_error*) {
  static_cast<FakeStack*>(stack)->handle(message);
  return 1;
}

void FakeStack::handle(sd_bus_message* call) {
  didHandle_ = true;
  std::uint8_t type = 0;
  sd_bus_message_get_type(call, &type);
  if (type != SD_BUS_MESSAGE_METHOD_CALL) return;
  if (!isCall(call, "Hello") && !isCall(call, "AddMatch") && !isCall(call, "RemoveMatch")) {
    if (calls_.size() < 64) calls_.emplace_back(sd_bus_message_ref(call));
    return;
  }
  sd_bus_message* reply = nullptr;
  sd_bus_message_new_method_return(call, &reply);
  if (isCall(call, "Hello")) sd_bus_message_append(reply, "s", ":1.7");
  send(reply, daemonName);
}

Message FakeStack::takeCall(std::size_t call) {
  const auto place = calls_.begin() + static_cast<std::ptrdiff_t>(call % calls_.size());
  Message taken = std::move(*place);
  calls_.erase(place);
  return taken;
}

void FakeStack::send(sd_bus_message* message, const char* sender) {
  const Message owned(message);
  if (bus_ == nullptr || message == nullptr) return;
  sd_bus_message_set_sender(message, sender);
  sd_bus_send(bus_, message, nullptr);
}

void FakeStack::answerRightly(std::size_t call, Choices& choices) {
  if (calls_.empty() || bus_ == nullptr) return;
  const Message taken = takeCall(call);
  sd_bus_message* reply = nullptr;
  if (isCall(taken.get(), "AcquireNotify") && choices.below(3) == 1) {
    const sd_bus_error error = SD_BUS_ERROR_MAKE_CONST("org.bluez.Error.NotSupported", "");
    if (sd_bus_message_new_method_error(taken.get(), &reply, &error) >= 0) send(reply, stackName);
    return;
  }
  if (sd_bus_message_new_method_return(taken.get(), &reply) < 0) return;
  if (isCall(taken.get(), "GetNameOwner")) {
    sd_bus_message_append(reply, "s", stackName);
    return send(reply, daemonName);
  }
  if (isCall(taken.get(), "GetManagedObjects")) appendObjects(reply, choices);
  if (isCall(taken.get(), "ReadValue")) append(reply, "ay", choices);
  if (isCall(taken.get(), "Get")) {
    if (choices.flag()) {
      append(reply, "v", choices);
    } else {
      sd_bus_message_append(reply, "v", "y", choices.byte());
    }
  }
  if (isCall(taken.get(), "AcquireNotify")) acquire(reply);
  send(reply, stackName);
}

void FakeStack::acquire(sd_bus_message* reply) {
  std::array<int, 2> ends{};
  if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_NONBLOCK | SOCK_CLOEXEC, 0, ends.data()) != 0) {
    return;
  }
  sd_bus_message_append(reply, "hq", ends[0], 64);
  close(ends[0]);  // the message has a duplicate
  sockets_.push_back(ends[1]);
}

void FakeStack::answerWithError(std::size_t call, Choices& choices) {
  constexpr std::array names = {"org.bluez.Error.Failed",       "org.bluez.Error.NotSupported",
                                "org.bluez.Error.NotPermitted", "org.bluez.Error.InProgress",
                                SD_BUS_ERROR_ACCESS_DENIED,     SD_BUS_ERROR_UNKNOWN_METHOD,
                                SD_BUS_ERROR_SERVICE_UNKNOWN,   "org.bluez.Error.NotConnected"};
  if (calls_.empty() || bus_ == nullptr) return;
  const Message taken = takeCall(call);
  std::string text = "Operation failed with ATT error: 0x" + choices.text(choices.below(4));
  for (char& c : text) c = c > ' ' ? c : ' ';
  const sd_bus_error error =
      SD_BUS_ERROR_MAKE_CONST(names[choices.below(names.size())], text.c_str());
  sd_bus_message* reply = nullptr;
  if (sd_bus_message_new_method_error(taken.get(), &reply, &error) >= 0) send(reply, stackName);
}

void FakeStack::answerWithAnything(std::size_t call, Choices& choices) {
  if (calls_.empty() || bus_ == nullptr) return;
  const Message taken = takeCall(call);
  sd_bus_message* reply = nullptr;
  if (sd_bus_message_new_method_return(taken.get(), &reply) < 0) return;
  append(reply, makeSignature(choices), choices);
  send(reply, stackName);
}

void FakeStack::signalOwner(Choices& choices) {
  if (bus_ == nullptr) return;
  sd_bus_message* signal = nullptr;
  sd_bus_message_new_signal(bus_, &signal, "/org/freedesktop/DBus", daemonName, "NameOwnerChanged");
  if (choices.below(8) == 1) {
    append(signal, makeSignature(choices), choices);
  } else {
    sd_bus_message_append(signal, "sss", "org.bluez", choices.flag() ? stackName : "",
                          choices.flag() ? stackName : "");
  }
  send(signal, daemonName);
}

void FakeStack::signalAdded(Choices& choices) {
  if (bus_ == nullptr) return;
  if (choices.below(3) == 1) {
    return sendSignal("/", "org.freedesktop.DBus.ObjectManager", "InterfacesAdded", "oa{sa{sv}}",
                      choices);
  }
  sd_bus_message* signal = nullptr;
  sd_bus_message_new_signal(bus_, &signal, "/", "org.freedesktop.DBus.ObjectManager",
                            "InterfacesAdded");
  sd_bus_message_append(signal, "oa{sa{sv}}", devicePath(choices).c_str(), 1, "org.bluez.Device1",
                        2, "Name", "s", choices.flag() ? "Ilo" : "Tarvix", "RSSI", "n", -60);
  send(signal, choices.below(8) == 1 ? ":1.9" : stackName);
}

void FakeStack::signalRemoved(Choices& choices) {
  if (bus_ == nullptr) return;
  sd_bus_message* signal = nullptr;
  sd_bus_message_new_signal(bus_, &signal, "/", "org.freedesktop.DBus.ObjectManager",
                            "InterfacesRemoved");
  const std::size_t kind = choices.below(4);
  if (kind == 0) {
    sd_bus_message_append(signal, "oas", "/org/bluez/hci0", 1, "org.bluez.Adapter1");
  } else if (kind == 1) {
    sd_bus_message_append(signal, "oas", devicePath(choices).c_str(), 1, "org.bluez.Device1");
  } else if (kind == 2) {
    sd_bus_message_append(signal, "oas", characteristicPath(choices).c_str(), 1,
                          "org.bluez.GattCharacteristic1");
  } else {
    append(signal, "oas", choices);
  }
  send(signal, stackName);
}

void FakeStack::signalChanged(Choices& choices) {
  if (bus_ == nullptr) return;
  const std::size_t kind = choices.below(4);
  const std::string path = kind == 3   ? characteristicPath(choices)
                           : kind == 0 ? "/org/bluez/hci0"
                                       : devicePath(choices);
  sd_bus_message* signal = nullptr;
  if (sd_bus_message_new_signal(bus_, &signal, path.c_str(), "org.freedesktop.DBus.Properties",
                                "PropertiesChanged") < 0) {
    return;
  }
  const int isTrue = choices.below(3) == 0 ? 0 : 1;
  if (kind == 0) {
    sd_bus_message_append(signal, "sa{sv}as", "org.bluez.Adapter1", 1, "Powered", "b", isTrue, 0);
  } else if (kind == 1) {
    sd_bus_message_append(signal, "sa{sv}as", "org.bluez.Device1", 1,
                          choices.flag() ? "Connected" : "ServicesResolved", "b", isTrue, 0);
  } else if (kind == 2) {
    append(signal, "sa{sv}as", choices);
  } else {
    sd_bus_message_append(signal, "sa{sv}as", "org.bluez.GattCharacteristic1", 1, "Value", "ay", 2,
                          1, choices.byte(), 0);
  }
  send(signal, stackName);
}

void FakeStack::sendSignal(const char* path, const char* interface, const char* member,
                           const std::string& signature, Choices& choices) {
  sd_bus_message* signal = nullptr;
  if (sd_bus_message_new_signal(bus_, &signal, path, interface, member) < 0) return;
  append(signal, signature, choices);
  send(signal, stackName);
}

void FakeStack::notify(Choices& choices) {
  if (sockets_.empty()) return;
  const int socket = sockets_[choices.below(sockets_.size())];
  const auto bytes = choices.bytes(choices.byte());
  [[maybe_unused]] const auto sent = ::send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL);
}

void FakeStack::endSocket(Choices& choices) {
  if (sockets_.empty()) return;
  const auto place = sockets_.begin() + static_cast<std::ptrdiff_t>(choices.below(sockets_.size()));
  close(*place);
  sockets_.erase(place);
}

void FakeStack::hangUp() {
  calls_.clear();
  for (const int socket : sockets_) close(socket);
  sockets_.clear();
  if (bus_ != nullptr) sd_bus_close_unref(bus_);
  bus_ = nullptr;
}

}  // namespace fuzz
