#include "PlayedDevice.h"

#include <sys/socket.h>

#include <algorithm>
#include <cctype>
#include <variant>

#include "lab/Text.h"

namespace bench {
namespace {

constexpr char kInterface[] = "org.bluez.Device1";

// As bluetoothd writes it: 36 characters in lower case.
std::string longForm(std::string uuid) {
  if (uuid.size() == 4) uuid = "0000" + uuid + "-0000-1000-8000-00805f9b34fb";
  std::ranges::transform(uuid, uuid.begin(), [](unsigned char c) { return std::tolower(c); });
  return uuid;
}

// The part of a path that names an attribute.
std::string attribute(const char* name, std::size_t handle) {
  return name + lab::toHex(lab::Bytes{0, static_cast<std::uint8_t>(handle)});
}

}  // namespace

PlayedDevice::PlayedDevice(bluez_tests::FakeBluez& bluez, std::size_t place,
                           OnSubscribed onSubscribed)
    : bluez_(bluez),
      kind_(kDevices[place]),
      path_("/org/bluez/hci0/dev_C0_00_00_FF_FF_0" + std::to_string(place + 1)),
      onSubscribed_(std::move(onSubscribed)),
      model_(lab::makeDevice(kind_.name)) {
  bluez_.on(path_, "Connect", [this](auto call) {
    connect();
    bluez_.reply(*call);
  });
}

void PlayedDevice::appear() {
  bluez_.add(path_, {{kInterface,
                      {{"Name", model_->name()},
                       {"RSSI", std::int16_t{-50}},
                       {"Connected", false},
                       {"ServicesResolved", false}}}});
}

void PlayedDevice::connect() {
  bluez_.change(path_, kInterface, {{"Connected", true}});
  std::size_t handle = 0;
  lab::CharacteristicIndex index = 0;
  for (const lab::Service& service : model_->services()) {
    const std::string path = path_ + "/" + attribute("service", ++handle);
    bluez_.add(path,
               {{"org.bluez.GattService1", {{"UUID", longForm(service.uuid)}, {"Primary", true}}}});
    for (const lab::Characteristic& characteristic : service.characteristics) {
      addCharacteristic(path + "/" + attribute("char", ++handle), index++, characteristic);
    }
  }
  bluez_.change(path_, kInterface, {{"ServicesResolved", true}});
}

void PlayedDevice::addCharacteristic(const std::string& path, lab::CharacteristicIndex index,
                                     const lab::Characteristic& characteristic) {
  bluez_.add(path, {{"org.bluez.GattCharacteristic1", {{"UUID", longForm(characteristic.uuid)}}}});
  bluez_.on(path, "ReadValue", [this, index](auto call) {
    bluez_.replyValue(*call, std::get<lab::Bytes>(model_->read(index)));
  });
  const bool isStream = characteristic.uuid == kind_.stream;
  bluez_.on(path, "AcquireNotify", [this, isStream](auto call) {
    const int socket = bluez_.replySocket(*call);  // stays open, with or without values
    if (!isStream) return;
    socket_ = socket;
    onSubscribed_();
  });
}

void PlayedDevice::send() const {
  const lab::Bytes value = valueSentAt(Clock::now(), kind_.valueSize);
  ::send(socket_, value.data(), value.size(), MSG_NOSIGNAL);
}

}  // namespace bench
