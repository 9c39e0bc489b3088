#include "FenwixStreams.h"

#include <bit>

#include "Bytes.h"
#include "HexDigits.h"
#include "Payload.h"
#include "Precondition.h"
#include "Utils.h"

void sendRms(std::string_view kind, platform::Value value) {
  const auto level = std::bit_cast<float>(littleEndian<4>(value, 0));
  const float scaled = level * 10000000.0F;
  // The nearest binary32 numbers outside the 64-bit range; a NaN fails both comparisons.
  require(scaled > -9.223373e18F && scaled < 9.223372e18F);
  sendQuelmar(Payload(kind).field(static_cast<std::int64_t>(scaled)));
}

void sendRaw(std::string_view kind, platform::Value value) {
  Payload payload(kind);
  char* digits = payload.extend(2 * value.size());
  for (const std::uint8_t byte : value) {
    *digits++ = kHexDigits[byte >> 4];
    *digits++ = kHexDigits[byte & 0x0F];
  }
  payload.append(';');
  sendQuelmar(payload);
}
