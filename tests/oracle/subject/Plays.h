// What can happen to a bridge, played out from bytes, on the core and the oracle at once. Each
// throws a Difference when they disagree. The fuzzers find the bytes; the oracle test draws them.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tests/oracle/Families.h"
#include "tests/oracle/subject/Choices.h"
#include "tests/oracle/subject/Twin.h"

namespace subject {

// The kinds of device, of all families of the oracle. A device's number is its model's place.
struct PlayedModel {
  const oracle::Family* family;
  const oracle::Model* model;
};
const std::vector<PlayedModel>& models();
std::size_t modelOfKind(std::string_view kind);

// Makes a handler of the model.
void discover(Twin& twin, std::size_t model);

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
