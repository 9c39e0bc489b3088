#include "Crowd.h"

#include <array>
#include <cstdio>
#include <stdexcept>

namespace bench {
namespace {

constexpr char kDevice[] = "org.bluez.Device1";

void check(int result) {
  if (result < 0) throw std::runtime_error("sd-bus refuses");
}

// Of the private range for random addresses.
std::string addressOf(unsigned device, char separator) {
  std::array<char, 18> text;
  std::snprintf(text.data(), text.size(), "C0%c00%c00%c%02X%c%02X%c%02X", separator, separator,
                separator, device >> 16U & 0xFFU, separator, device >> 8U & 0xFFU, separator,
                device & 0xFFU);
  return text.data();
}

sd_bus_message* newSignal(sd_bus* bus, const char* path, const char* interface,
                          const char* member) {
  sd_bus_message* signal = nullptr;
  check(sd_bus_message_new_signal(bus, &signal, path, interface, member));
  return signal;
}

void send(sd_bus_message* signal) {
  check(sd_bus_send(nullptr, signal, nullptr));
  sd_bus_message_unref(signal);
}

}  // namespace

std::string Crowd::pathOf(unsigned device) {
  return "/org/bluez/hci0/dev_" + addressOf(device, '_');
}

// The properties that bluetoothd 5.66 gives a device that has told flags, a name, a service and
// manufacturer's data.
void Crowd::tellFirst(unsigned device) {
  const std::string path = pathOf(device);
  const std::string address = addressOf(device, ':');
  const std::string name = "Beacon " + std::to_string(device);
  sd_bus_message* signal =
      newSignal(bus_, "/", "org.freedesktop.DBus.ObjectManager", "InterfacesAdded");
  check(sd_bus_message_append(signal, "oa{sa{sv}}", path.c_str(), 3,                        //
                              "org.freedesktop.DBus.Introspectable", 0,                     //
                              kDevice, 16,                                                  //
                              "Address", "s", address.c_str(),                              //
                              "AddressType", "s", "random",                                 //
                              "Name", "s", name.c_str(),                                    //
                              "Alias", "s", name.c_str(),                                   //
                              "Paired", "b", 0,                                             //
                              "Bonded", "b", 0,                                             //
                              "Trusted", "b", 0,                                            //
                              "Blocked", "b", 0,                                            //
                              "LegacyPairing", "b", 0,                                      //
                              "RSSI", "n", strength_,                                       //
                              "Connected", "b", 0,                                          //
                              "UUIDs", "as", 1, "0000feaa-0000-1000-8000-00805f9b34fb",     //
                              "Adapter", "o", "/org/bluez/hci0",                            //
                              "ManufacturerData", "a{qv}", 1, 0xFFFF, "ay", 4, 1, 2, 3, 4,  //
                              "ServicesResolved", "b", 0,                                   //
                              "AdvertisingFlags", "ay", 1, 6,                               //
                              "org.freedesktop.DBus.Properties", 0));
  send(signal);
}

void Crowd::tellAgain(unsigned device) {
  strength_ = strength_ == -60 ? -75 : -60;
  sd_bus_message* signal = newSignal(bus_, pathOf(device).c_str(),
                                     "org.freedesktop.DBus.Properties", "PropertiesChanged");
  check(sd_bus_message_append(signal, "sa{sv}as", kDevice, 1, "RSSI", "n", strength_, 0));
  send(signal);
}

}  // namespace bench
