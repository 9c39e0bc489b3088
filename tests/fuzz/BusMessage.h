// Well-formed D-Bus messages made from bytes: mostly what BlueZ sends, also what it would never.
// They are made on a bus that is connected to nothing.
#pragma once

#include <systemd/sd-bus.h>

#include <memory>
#include <string>

#include "tests/oracle/subject/Choices.h"

namespace fuzz {

struct Unref {
  void operator()(sd_bus_message* message) const { sd_bus_message_unref(message); }
};
using Message = std::unique_ptr<sd_bus_message, Unref>;

// Appends a body of that signature.
void append(sd_bus_message* message, const std::string& signature, subject::Choices& choices);

// A message whose body has that signature, ready to be read.
Message makeMessage(subject::Choices& choices, const std::string& signature);

// An object path such as BlueZ has, or nearly.
std::string makePath(subject::Choices& choices);

// One of the signatures that the parser is called with, or another.
std::string makeSignature(subject::Choices& choices);

}  // namespace fuzz
