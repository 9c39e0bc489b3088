// The air around a bridge under test, written as a list of words: which state the radio is in,
// which devices are there and what they do.
//
//   driven               time goes as fast as the bridge can follow (comes first)
//   pause=MS             milliseconds between the radio's states (comes before them; 100 otherwise)
//   state=S[,S...]       the radio's first state, and those that follow it after a pause each
//   device=NAME          a device; the words up to the next device= are about it
//   late=MS              it is on the air only after so many milliseconds
//   refuse-services      its service discovery fails
//   forget-name          it has no name any more once its services are asked for
//   service=UUID         a service of it
//   characteristic=UUID  a characteristic of that service
//   value=HEX            what a read of it gives
//   refuse-read          reading the characteristic fails
//   refuse-subscription  subscribing to it fails
//   send=HEX             subscribing to it brings this value (may be repeated: in this order)
//   stream=HEX           subscribing to it brings this value again and again, without a pause
//   count=SIZE,N         subscribing to it brings N values of SIZE bytes without a pause, each
//                        beginning with its number, from 0, in four bytes, least significant first
//   echo=UUID            what is written to it comes back as a value of that characteristic
//   tell=UUID            a change of its subscription comes as a value of that characteristic: 01
//                        when it is subscribed, 00 when it no longer is
#pragma once

#include <memory>
#include <span>
#include <string_view>

#include "lab/simulated/Platform.h"

namespace process_test {

// Throws std::invalid_argument when it does not understand a word.
std::unique_ptr<platform::simulated::Platform> makeAir(std::span<const char* const> words);

}  // namespace process_test
