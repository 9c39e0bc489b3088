// The radio and the devices around a bridge under test, written as a list of words.
//
//   driven               time is driven, as fast as the bridge can follow (has to come first)
//   pause=MS             milliseconds between the radio's states (comes before them; else 100)
//   state=S[,S...]       the radio's first state, and further ones after a pause each
//   device=NAME          a device; the words up to the next device= are about it
//   late=MS              it is switched on only after this many milliseconds
//   refuse-services      its service discovery fails
//   forget-name          it loses its name when its services are asked for
//   service=UUID         one of its services
//   characteristic=UUID  a characteristic of that service
//   value=HEX            the value that a read of it returns
//   refuse-read          reading the characteristic fails
//   refuse-subscription  subscribing to it fails
//   send=HEX             sends this value to a new subscriber (several are sent in this order)
//   stream=HEX           sends this value to a subscriber again and again, without a pause
//   count=SIZE,N         sends a new subscriber N values of SIZE bytes without a pause, each
//                        beginning with its number, from 0, in four bytes, least significant first
//   echo=UUID            sends what is written to it as a value of that characteristic
//   tell=UUID            sends a value of that characteristic when its subscription changes: 01
//                        when it begins, 00 when it ends
#pragma once

#include <memory>
#include <span>
#include <string_view>

#include "lab/simulated/Platform.h"

namespace process_test {

// Throws std::invalid_argument for a word that it does not understand.
std::unique_ptr<platform::simulated::Platform> makeAir(std::span<const char* const> words);

}  // namespace process_test
