// The device families, as the oracle has them: the one table that its handlers, the plays and the
// world's judge read. Nothing of it comes from the core.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "tests/oracle/Expected.h"

namespace oracle {

class Handler;

// A characteristic of a family's devices: where it is found, what is done about it there, and how
// many bytes of a value are needed to make something of it.
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
  std::string_view name;                   // one that such a device may have
  std::vector<std::string_view> services;  // asked for, in this order, once it is connected
};

struct Family {
  std::string_view name;
  std::vector<std::string_view> beginnings;  // of the devices' names, in lower case
  std::vector<Part> parts;                   // in the order in which they are asked for
  std::vector<Model> models;
  std::unique_ptr<Handler> (*make)(Expected& expected, const Device& device);
  std::string_view announcement = {};  // message sent when a device is accepted
  bool logsUnknownServices = false;
};

// Each in the file of its handler.
extern const Family tramsel;
extern const Family sonde;
extern const Family corvelta;
extern const Family fenwix;

// In the order in which they are tried for a device that is found.
inline constexpr const Family* kFamilies[] = {&tramsel, &sonde, &corvelta, &fenwix};

// In the order in which they are tried for a device that is connected, and may have several
// handlers since it has changed its name.
inline constexpr const Family* kFamiliesByConnection[] = {&tramsel, &fenwix, &corvelta, &sonde};

// Whether a device is of the family; its name is in lower case.
bool takes(const Family& family, const std::string& key);

// The family that a device is of. Null: none.
const Family* familyOf(const std::string& key);

}  // namespace oracle
