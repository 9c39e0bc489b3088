// What can happen to a bridge, played out from bytes, on the core and the oracle at once. Each
// throws a Difference when they disagree. The fuzzers find the bytes; the oracle test draws them.
#pragma once

#include <optional>
#include <string>

#include "tests/subject/Choices.h"
#include "tests/subject/Twin.h"

namespace subject {

// The device numbers are one per model.
enum class Model { tramsel, ilo, tenoval, corvelta, fenwix };
inline constexpr std::size_t modelCount = 5;

// Makes a handler of the model; the device's number is the model's.
void discover(Twin& twin, Model model);

// The place of an identifier in the oracle's list.
std::size_t placeOf(std::string_view characteristic);

// First byte: the model. Then values: characteristic, length (255: absent), bytes.
void playValues(Choices& choices);

// Notifications of the Fenwix command characteristic: as they are, with a header, or long ones.
void playReplies(Choices& choices);

// First byte: which devices and characteristics are there. Then the host's input, to its end.
void playCommands(Choices& choices);

// Devices being discovered, by their names.
void playNames(Choices& choices);

// Everything that the platform and the host can do, in any order.
void playCallbacks(Choices& choices);

}  // namespace subject
