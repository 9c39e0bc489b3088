#include "Stack.h"

#include <cstdint>
#include <cstring>
#include <stdexcept>

namespace bench {
namespace {

constexpr char kAdapter[] = "/org/bluez/hci0";

int require(int result, const char* what) {
  if (result < 0) throw std::runtime_error(std::string(what) + ": " + std::strerror(-result));
  return result;
}

}  // namespace

Stack::Stack() {
  require(sd_bus_open_system(&bus_), "system bus");
}

bool Stack::isPowered(const std::string& adapter) const {
  int value = 0;
  const std::string path = "/org/bluez/" + adapter;
  return sd_bus_get_property_trivial(bus_, "org.bluez", path.c_str(), "org.bluez.Adapter1",
                                     "Powered", nullptr, 'b', &value) >= 0 &&
         value != 0;
}

void Stack::forgetDevices() const {
  for (const std::string& device : devices()) {
    sd_bus_call_method(bus_, "org.bluez", kAdapter, "org.bluez.Adapter1", "RemoveDevice", nullptr,
                       nullptr, "o", device.c_str());
  }
}

pid_t Stack::processOf(const char* name) const {
  sd_bus_message* reply = nullptr;
  require(sd_bus_call_method(bus_, "org.freedesktop.DBus", "/org/freedesktop/DBus",
                             "org.freedesktop.DBus", "GetConnectionUnixProcessID", nullptr, &reply,
                             "s", name),
          name);
  std::uint32_t process = 0;
  require(sd_bus_message_read(reply, "u", &process), name);
  sd_bus_message_unref(reply);
  return static_cast<pid_t>(process);
}

std::vector<std::string> Stack::devices() const {
  std::vector<std::string> paths;
  sd_bus_message* reply = nullptr;
  require(sd_bus_call_method(bus_, "org.bluez", "/", "org.freedesktop.DBus.ObjectManager",
                             "GetManagedObjects", nullptr, &reply, ""),
          "GetManagedObjects");
  require(sd_bus_message_enter_container(reply, 'a', "{oa{sa{sv}}}"), "objects");
  while (require(sd_bus_message_enter_container(reply, 'e', "oa{sa{sv}}"), "object") > 0) {
    const char* path = nullptr;
    require(sd_bus_message_read_basic(reply, 'o', &path), "path");
    const std::string text = path;
    const bool isDevice = text.starts_with(std::string(kAdapter) + "/dev_");
    if (isDevice && text.rfind('/') == std::strlen(kAdapter)) paths.push_back(text);
    require(sd_bus_message_skip(reply, "a{sa{sv}}"), "interfaces");
    require(sd_bus_message_exit_container(reply), "object");
  }
  sd_bus_message_unref(reply);
  return paths;
}

}  // namespace bench
