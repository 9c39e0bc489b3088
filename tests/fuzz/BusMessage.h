// Makes well-formed D-Bus messages from bytes: mostly such as BlueZ sends, but also others. They
// belong to a bus that is not connected.
#pragma once

#include <systemd/sd-bus.h>

#include <string>

#include "lab/bluetoothd/MessageBus.h"
#include "tests/oracle/subject/Choices.h"

namespace fuzz {

using Message = lab::BusMessage;

// Appends a body with this signature.
void append(sd_bus_message* message, const std::string& signature, subject::Choices& choices);

// A message whose body has this signature, ready to be read.
Message makeMessage(subject::Choices& choices, const std::string& signature);

// An object path such as BlueZ has, or nearly.
std::string makePath(subject::Choices& choices);

// Mostly a signature that the parser expects.
std::string makeSignature(subject::Choices& choices);

}  // namespace fuzz
