// The advertising data of a peripheral: flags and its name.
#pragma once

#include <string>

#include "lab/hci/Controller.h"

namespace lab {

enum class NamePlace { advertisement, scanResponse };

// A name too long for its place is shortened there (29 bytes in the scan response, 26 beside the
// flags); an empty one is left out.
Advertisement makeAdvertisement(const std::string& name, NamePlace place, bool isConnectable);

}  // namespace lab
