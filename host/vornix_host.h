// Reader of the bridge's standard output, for a host written in C++20. Header only; it needs the
// standard library alone and shares nothing with the bridge.
//
//   vornix_host::LineReader reader;
//   while (/* bytes arrive from the bridge's standard output */) {
//     reader.feed(bytes);  // in pieces of any size
//     while (const auto line = reader.next()) {
//       const vornix_host::Message message = vornix_host::decode(*line);
//       if (const auto* motion = std::get_if<vornix_host::TramselMotion>(&message)) { ... }
//     }
//   }
//   reader.finish();  // the output has ended; next() then returns an incomplete last line
//
// LineReader cuts the output into lines and checks them, decode decodes a line. Fields gives access
// to a payload that decode does not know. To start the bridge, write to it and end it as well,
// include vornix_host/Bridge.h and link vornix_host::bridge.
#pragma once

#include "vornix_host/Decode.h"      // IWYU pragma: export
#include "vornix_host/Fields.h"      // IWYU pragma: export
#include "vornix_host/LineReader.h"  // IWYU pragma: export
#include "vornix_host/Message.h"     // IWYU pragma: export
