// Plays a recorded session in the bridge's place.
#pragma once

#include <string>

#include "scope/Piece.h"

namespace scope {

// Writes what the bridge wrote to standard output, byte for byte, each line at its time divided by
// the speed, or without waiting when the speed is 0. Ends as the session did; and with status 0 on
// "kill" or at the end of standard input, as the bridge does. Other input is read and has no
// effect. Of several sessions in the file the last is played.
//
// Throws as RecordingReader does.
Ending replay(const std::string& path, double speed);

}  // namespace scope
