// Between the framework's objects and the interface's values.
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

// What says that a request failed because of the link, and not by the device's answer.
bool isLinkLost(NSError* error);
Error linkLost();

// What a request fails with that is about something the device has no more.
Error isGone();

}  // namespace platform::corebluetooth
