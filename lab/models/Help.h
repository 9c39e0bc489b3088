// The control lines and faults of the devices, for the help of vornix-lab and vornix-demo.
#pragma once

#include <string_view>

namespace lab {

// Control lines that every kind of device knows, and those of one kind.
inline constexpr std::string_view kControlsHelp =
    R"(  rate N, rate UUID N   values a second: of every stream, of one that has one
  count N               every stream ends after so many values of a subscription
  stream on|off         battery N        value UUID HEX        send UUID HEX        name TEXT
  mains N, calibration N, calibration-error N   (corvelta: as if it had just happened)
  json N                                        (fenwix: the document's length, 0 to 65535)
  health N                                      (fenwix: battery health)
)";

// Control lines of vornix-lab alone: the simulated platform has no Service Changed.
inline constexpr std::string_view kLinkControlsHelp =
    R"(  service-changed       it has the Service Changed characteristic, from the next connection on
  withdraw UUID         that service is gone until the link ends, and Service Changed tells it
)";

// Faults of answers and values, of every kind of device and of one kind.
inline constexpr std::string_view kFaultsHelp =
    R"(  refuse-read=UUID[:CODE]          refuse-write=UUID[:CODE]       refuse-subscribe=UUID[:CODE]
      an ATT error answers; CODE (as 14 or 0x0E) defaults to not permitted
  short=UUID:N                     its values are cut to N bytes
  value=UUID:HEX                   it reads and sends these bytes, whatever its value is
  hide=UUID                        the service or characteristic is missing (at the next connection)
  last=UUID                        the service comes last, the characteristic last in its service
  calibration-error=N              corvelta: calibrations end with this error code
  reply=HEX                        fenwix: these bytes answer every command
  reply-cut=N                      fenwix: replies end after N bytes, header included
  reply-part=N                     fenwix: replies are cut into notifications of N bytes
  invalid-utf8                     fenwix: the document is not valid UTF-8
A serial number of 0 is "value=2A25:00000000".
)";

}  // namespace lab
