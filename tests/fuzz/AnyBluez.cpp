#include "tests/fuzz/AnyBluez.h"

#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <string_view>
#include <utility>

#include "lab/bluetoothd/BusTypes.h"
#include "tests/oracle/Identifiers.h"

namespace fuzz {

namespace {

using subject::Choices;

constexpr const char* kDaemon = "org.freedesktop.DBus";
constexpr const char* kAnother = ":1.9";  // a program
constexpr std::size_t kMostCalls = 64;    // that wait

bool isCall(const Message& message, const char* member) {
  return sd_bus_message_is_method_call(message.get(), nullptr, member) > 0;
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

using Objects = std::map<std::string, lab::Interfaces>;

void addDevice(Objects& objects, Choices& choices) {
  const std::string path = devicePath(choices);
  const bool isResolved = choices.flag();
  objects[path][lab::kDeviceInterface] = {{"Name", choices.flag() ? "Tramsel-12" : "Nomsuel"},
                                          {"Connected", choices.below(4) != 0},
                                          {"ServicesResolved", isResolved},
                                          {"RSSI", lab::kRssi}};
  if (!isResolved) return;
  if (choices.below(4) == 1) objects[path]["org.bluez.Battery1"]["Percentage"] = choices.byte();
  objects[path + "/service0001"][lab::kServiceInterface]["UUID"] =
      std::string(oracle::everyService()[choices.below(12)]);
  for (const char* part : {"/service0001/char0002", "/service0001/char0005"}) {
    objects[path + part][lab::kCharacteristicInterface]["UUID"] =
        std::string(oracle::everyCharacteristic()[choices.below(25)]);
  }
}

Objects anyObjects(Choices& choices) {
  Objects objects;
  for (const char* adapter : {"/org/bluez/hci0", "/org/bluez/hci1"}) {
    if (choices.below(4) == 3) continue;
    objects[adapter][lab::kAdapterInterface]["Powered"] = choices.below(8) != 7;
  }
  for (std::size_t count = choices.below(4); count > 0; --count) addDevice(objects, choices);
  return objects;
}

}  // namespace

AnyBluez::AnyBluez() {
  const auto keep = [this](const Message& call) {
    if (calls_.size() < kMostCalls) calls_.emplace_back(sd_bus_message_ref(call.get()));
  };
  bluez_.otherwise = keep;
  bus.onBusCall = [keep](const std::string& member, const Message& call) {
    if (member == "Hello" || member == "AddMatch" || member == "RemoveMatch") return false;
    keep(call);
    return true;
  };
  bus.onClientGone = [this] { forgetClient(); };
}

AnyBluez::~AnyBluez() {
  forgetClient();
  bus.onClientGone = nullptr;
}

void AnyBluez::forgetClient() {
  calls_.clear();
  for (const int socket : sockets_) close(socket);
  sockets_.clear();
}

Message AnyBluez::takeCall(std::size_t call) {
  if (calls_.empty() || !bus.hasClient()) return nullptr;
  const auto place = calls_.begin() + static_cast<std::ptrdiff_t>(call % calls_.size());
  Message taken = std::move(*place);
  calls_.erase(place);
  return taken;
}

void AnyBluez::send(const Message& call, Message reply) {
  const bool isForBus = sd_bus_message_get_destination(call.get()) == std::string_view(kDaemon);
  isForBus ? bus.sendFrom(kDaemon, std::move(reply)) : bus.sendReply(std::move(reply));
}

void AnyBluez::answerRightly(std::size_t which, Choices& choices) {
  const Message call = takeCall(which);
  if (call == nullptr) return;
  if (isCall(call, "AcquireNotify")) {
    if (choices.below(3) == 1) return bluez_.refuse(call, lab::kNotSupported, "");
    return sockets_.push_back(bluez_.replySocket(call));
  }
  if (isCall(call, "GetManagedObjects")) {
    bluez_.objects = anyObjects(choices);
    return bluez_.replyObjects(call);
  }
  Message reply = lab::MessageBus::newReply(call);
  if (isCall(call, "GetNameOwner")) {
    sd_bus_message_append(reply.get(), "s", bus.stackOwner().c_str());
  } else if (isCall(call, "ReadValue")) {
    append(reply.get(), "ay", choices);
  } else if (isCall(call, "Get")) {
    if (choices.flag()) {
      append(reply.get(), "v", choices);
    } else {
      sd_bus_message_append(reply.get(), "v", "y", choices.byte());
    }
  }
  send(call, std::move(reply));
}

void AnyBluez::answerWithError(std::size_t which, Choices& choices) {
  constexpr std::array names = {"org.bluez.Error.Failed",       "org.bluez.Error.NotSupported",
                                "org.bluez.Error.NotPermitted", "org.bluez.Error.InProgress",
                                SD_BUS_ERROR_ACCESS_DENIED,     SD_BUS_ERROR_UNKNOWN_METHOD,
                                SD_BUS_ERROR_SERVICE_UNKNOWN,   "org.bluez.Error.NotConnected"};
  const Message call = takeCall(which);
  if (call == nullptr) return;
  std::string text = "Operation failed with ATT error: 0x" + choices.text(choices.below(4));
  for (char& c : text) c = c > ' ' ? c : ' ';
  bus.sendError(call, names[choices.below(names.size())], text);
}

void AnyBluez::answerWithAnything(std::size_t which, Choices& choices) {
  const Message call = takeCall(which);
  if (call == nullptr) return;
  Message reply = lab::MessageBus::newReply(call);
  append(reply.get(), makeSignature(choices), choices);
  send(call, std::move(reply));
}

void AnyBluez::signalOwner(Choices& choices) {
  Message signal = bus.newSignal("/org/freedesktop/DBus", kDaemon, "NameOwnerChanged");
  if (signal == nullptr) return;
  if (choices.below(8) == 1) {
    append(signal.get(), makeSignature(choices), choices);
  } else {
    const auto anyOwner = [&] { return choices.flag() ? bus.stackOwner().c_str() : ""; };
    const char* const before = anyOwner();
    sd_bus_message_append(signal.get(), "sss", "org.bluez", before, anyOwner());
  }
  bus.sendFrom(kDaemon, std::move(signal));
}

void AnyBluez::sendSignal(const std::string& sender, const std::string& path, const char* interface,
                          const char* member, const std::string& signature, Choices& choices) {
  Message signal = bus.newSignal(path, interface, member);
  if (signal == nullptr) return;
  append(signal.get(), signature, choices);
  bus.sendFrom(sender, std::move(signal));
}

void AnyBluez::signalAdded(Choices& choices) {
  if (choices.below(3) == 1) {
    const std::string sender = choices.below(8) == 1 ? kAnother : bus.stackOwner();
    return sendSignal(sender, "/", lab::kObjectManagerInterface, "InterfacesAdded", "oa{sa{sv}}",
                      choices);
  }
  const std::string path = devicePath(choices);
  lab::signalAdded(bus, path, [&](sd_bus_message* message) {
    const char* const name = choices.flag() ? "Ilo" : "Tarvix";
    lab::append(message,
                lab::Interfaces{{lab::kDeviceInterface, {{"Name", name}, {"RSSI", lab::kRssi}}}});
  });
}

void AnyBluez::signalRemoved(Choices& choices) {
  switch (choices.below(4)) {
    case 0:
      return lab::signalRemoved(bus, "/org/bluez/hci0", {lab::kAdapterInterface});
    case 1:
      return lab::signalRemoved(bus, devicePath(choices), {lab::kDeviceInterface});
    case 2:
      return lab::signalRemoved(bus, characteristicPath(choices), {lab::kCharacteristicInterface});
    default:
      sendSignal(bus.stackOwner(), "/", lab::kObjectManagerInterface, "InterfacesRemoved", "oas",
                 choices);
  }
}

void AnyBluez::signalChanged(Choices& choices) {
  const std::size_t kind = choices.below(4);
  const std::string path = kind == 3   ? characteristicPath(choices)
                           : kind == 0 ? "/org/bluez/hci0"
                                       : devicePath(choices);
  const bool isTrue = choices.below(3) != 0;
  if (kind == 0) {
    lab::signalChange(bus, path, lab::kAdapterInterface, {{"Powered", isTrue}});
  } else if (kind == 1) {
    const char* const name = choices.flag() ? "Connected" : "ServicesResolved";
    lab::signalChange(bus, path, lab::kDeviceInterface, {{name, isTrue}});
  } else if (kind == 2) {
    sendSignal(bus.stackOwner(), path, lab::kPropertiesInterface, "PropertiesChanged", "sa{sv}as",
               choices);
  } else {
    lab::signalChange(bus, path, lab::kCharacteristicInterface,
                      {{"Value", lab::Bytes{1, choices.byte()}}});
  }
}

void AnyBluez::notify(Choices& choices) {
  if (sockets_.empty()) return;
  const int socket = sockets_[choices.below(sockets_.size())];
  const auto bytes = choices.bytes(choices.byte());
  [[maybe_unused]] const auto sent = ::send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL);
}

void AnyBluez::endSocket(Choices& choices) {
  if (sockets_.empty()) return;
  const auto place = sockets_.begin() + static_cast<std::ptrdiff_t>(choices.below(sockets_.size()));
  close(*place);
  sockets_.erase(place);
}

}  // namespace fuzz
