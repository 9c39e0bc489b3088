// What will happen in a session, drawn from its seed: who is there, and what goes wrong when. One
// incident can be left out without changing the others, which is how a session is made shorter.
#pragma once

#include <cstdint>
#include <memory>
#include <set>
#include <span>
#include <string>
#include <vector>

#include "lab/DeviceModel.h"
#include "lab/bluetoothd/Dice.h"

namespace world {

using lab::Microseconds;

struct Incident {
  enum class Kind {
    vanish,         // device: out of range for a while
    loseLink,       // device
    spoilRequest,   // device: the next request is refused, loses the link or is never answered
    spoilValues,    // device: those of a characteristic are short, empty or others, for a while
    values,         // device: several at once
    powerOff,       // adapter, for a while
    unplug,         // adapter, for a while
    stopStack,      // bluetoothd, for a while
    standStill,     // bluetoothd, for a while
    changeAlias,    // another program
    discover,       // another program, for a while
    removeDevice,   // device, by another program
    stallHost,      // for a while
    command,        // the host
    loseBus,        // the D-Bus daemon
    restartBridge,  // the host: by the end of its input, or from outside
    killBridge,
    resetRadio,      // macOS, and all that follow: for a while
    delayCalls,      // between program and radio, for a while
    loseState,       // the radio's is not known, for a while
    holdDevice,      // device: another program has a link to it, for a while
    forgetPairing,   // device: the next requests for a link fail
    changeServices,  // device
  };

  Microseconds time;
  Kind kind;
  std::size_t which;  // device, adapter, command
  Microseconds length;
  std::size_t choice;

  bool isOfDevice() const;
};

// How often a kind is drawn, among the others of a platform.
struct Weight {
  Incident::Kind kind;
  int weight;
};

struct PlannedDevice {
  std::string kind;  // as lab::makeDevice; a stranger has a name of its own
  std::string name;
  Microseconds appears;
  unsigned rate;  // values per second
  bool isStored;
  bool doesNameComeLater;
  bool isHidden;  // shows no services
  bool isConnectable = true;
  std::vector<std::string> controls{};  // what the model is told besides
};

// What only the program's platform has; drawn before the rest. Each platform defines these.
struct Setting;
std::shared_ptr<const Setting> drawSetting(lab::Dice& dice);
std::span<const Weight> weightsHere();

struct Plan {
  explicit Plan(std::uint64_t seed);

  // Nothing goes wrong, but so many strangers pass while a link is wanted that never comes up.
  static Plan ofStrangers(std::size_t count);
  // Nothing goes wrong, but the host stalls while a stream brings 1 MiB a second: for a moment, and
  // then for so long, up to the end.
  static Plan ofStall(Microseconds length);

  std::uint64_t seed;
  std::shared_ptr<const Setting> setting;  // null: nothing is special
  std::vector<PlannedDevice> devices;
  std::vector<Incident> incidents;
  std::size_t strangers = 0;
  bool isBusy = false;      // the machine, so that the bridge comes late now and then
  Microseconds trouble{0};  // until when they happen
  Microseconds settled{0};  // what is taken from then on is given back by their end; 0: anything
  Microseconds end{0};
};

inline constexpr Microseconds kFirstStranger{5'000'000};
inline constexpr Microseconds kStrangerInterval{10'000};

// The line that the host sends.
std::string commandOf(std::size_t which, std::size_t choice);

// What the model is told to make its values wrong.
std::string faultOf(std::size_t which, std::size_t choice);

const char* nameOf(Incident::Kind kind);

}  // namespace world
