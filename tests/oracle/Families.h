// The oracle's table of the device families, for its handlers, the plays and the judge in
// tests/world. Nothing of it comes from the core.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "tests/oracle/Expected.h"

namespace oracle {

class Handler;

// A characteristic of a family's devices: its service, what is done when it is discovered, and how
// many bytes of a value its decoder needs.
struct Part {
  std::string_view service;
  std::string_view uuid;
  bool read = false;
  bool subscribe = false;
  std::size_t needed = 0;
};

// A kind of device, as lab::makeDevice knows it.
struct Model {
  std::string_view kind;
  std::string_view name;                   // a name that such a device may have
  std::vector<std::string_view> services;  // asked for in this order when it is connected
};

struct Family {
  std::string_view name;
  std::vector<std::string_view> beginnings;  // of the devices' names, in lower case
  std::vector<Part> parts;                   // in the order in which they are asked for
  std::vector<Model> models;
  std::unique_ptr<Handler> (*make)(Expected& expected, const Device& device);
  std::string_view announcement = {};  // the message sent when a device is accepted
  bool logsUnknownServices = false;
};

// Each is defined in the file of its handler.
extern const Family tramsel;
extern const Family sonde;
extern const Family corvelta;
extern const Family fenwix;

// In the order in which they are tried for a discovered device.
inline constexpr const Family* kFamilies[] = {&tramsel, &sonde, &corvelta, &fenwix};

// In the order in which they are tried for a connected device, which may have several handlers if
// it has changed its name.
inline constexpr const Family* kFamiliesByConnection[] = {&tramsel, &fenwix, &corvelta, &sonde};

// Whether a device with this name, in lower case, belongs to the family.
bool takes(const Family& family, const std::string& key);

// The family of a device with this name, in lower case; null for none.
const Family* familyOf(const std::string& key);

}  // namespace oracle
