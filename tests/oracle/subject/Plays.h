// Plays: sessions of a bridge, decided by bytes and run on the core and the oracle at once. Each
// play throws a Difference when the two disagree. The bytes come from fuzzers or from the oracle's
// tests.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tests/oracle/Families.h"
#include "tests/oracle/subject/Choices.h"
#include "tests/oracle/subject/Twin.h"

namespace subject {

// The kinds of device of all the oracle's families. A device's number is the index of its model.
struct PlayedModel {
  const oracle::Family* family;
  const oracle::Model* model;
};
const std::vector<PlayedModel>& models();
std::size_t modelOfKind(std::string_view kind);

// Lets a device of the model be discovered.
void discover(Twin& twin, std::size_t model);

// The index of an identifier in oracle::everyCharacteristic().
std::size_t placeOf(std::string_view characteristic);

// First byte: the model. Then values: characteristic, length (255: absent), bytes.
void playValues(Choices& choices);

// Notifications of the Fenwix command characteristic: any bytes, with a header, or long ones.
void playReplies(Choices& choices);

// First byte: which devices and characteristics exist. Then the host's whole input.
void playCommands(Choices& choices);

// Names of discovered devices.
void playNames(Choices& choices);

// Everything that the platform and the host can do, in any order.
void playCallbacks(Choices& choices);

}  // namespace subject
