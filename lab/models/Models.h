// The devices that a bench has, by kind.
#pragma once

#include <memory>
#include <span>
#include <string_view>

#include "lab/models/BenchDevice.h"

namespace lab {

// "tramsel", "ilo", "tenoval", "corvelta", "fenwix".
std::span<const std::string_view> deviceKinds();

// A device of that kind with its usual name; null for an unknown kind.
std::unique_ptr<BenchDevice> makeDevice(std::string_view kind);

}  // namespace lab
