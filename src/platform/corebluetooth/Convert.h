// Conversions from the framework's objects to the interface's values.
#pragma once

#import <CoreBluetooth/CoreBluetooth.h>
#import <Foundation/Foundation.h>

#include <optional>
#include <string>
#include <vector>

#include "platform/Platform.h"

namespace platform::corebluetooth {

// Nothing for nil.
std::optional<std::string> textOf(NSString* text);
std::optional<Error> errorOf(NSError* error);

CBUUID identifierOf(::CBUUID* identifier);
NSArray* nativeIdentifiers(const std::vector<CBUUID>& identifiers);

// Whether a request failed because of the link, and not by the device's answer.
bool isLinkLost(NSError* error);
Error linkLost();

// The error of a request for a service or characteristic that the device no longer has.
Error isGone();

}  // namespace platform::corebluetooth
