#import "platform/corebluetooth/Convert.h"

namespace platform::corebluetooth {

// A text that cannot be encoded as UTF-8 gives an empty one.
std::optional<std::string> textOf(NSString* text) {
  if (text == nil) return std::nullopt;
  const char* const bytes = [text UTF8String];
  return bytes != nullptr ? bytes : "";
}

std::optional<Error> errorOf(NSError* error) {
  if (error == nil) return std::nullopt;
  Error result;
  result.domain = textOf([error domain]).value_or("");
  result.code = static_cast<int>([error code]);
  result.message = textOf([error localizedDescription]).value_or("");
  result.printed = textOf([error description]).value_or("");
  return result;
}

CBUUID identifierOf(::CBUUID* identifier) {
  return CBUUID::parse([[identifier UUIDString] UTF8String]).value();
}

NSArray* nativeIdentifiers(const std::vector<CBUUID>& identifiers) {
  NSMutableArray* const result = [NSMutableArray arrayWithCapacity:identifiers.size()];
  for (const CBUUID& identifier : identifiers) {
    using NativeUUID = ::CBUUID;
    [result addObject:[NativeUUID UUIDWithString:@(identifier.description().c_str())]];
  }
  return result;
}

bool isLinkLost(NSError* error) {
  if (![[error domain] isEqualToString:CBErrorDomain]) return false;
  const NSInteger code = [error code];
  return code == CBErrorNotConnected || code == CBErrorConnectionTimeout ||
         code == CBErrorPeripheralDisconnected;
}

Error linkLost() {
  return {[CBErrorDomain UTF8String], CBErrorPeripheralDisconnected, "the link was lost"};
}

Error isGone() {
  return {[CBErrorDomain UTF8String], CBErrorInvalidHandle, "the device has this no more"};
}

}  // namespace platform::corebluetooth
