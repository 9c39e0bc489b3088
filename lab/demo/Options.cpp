#include "lab/demo/Options.h"

#include "lab/Text.h"
#include "lab/models/Help.h"
#include "lab/models/Models.h"

namespace lab::demo {
namespace {

constexpr std::string_view kBeginning =
    R"(vornix-demo: the bridge, complete, with devices that are simulated

  vornix-demo [--devices KIND,...] [--control LINE]... [--fault NAME[=ARGUMENT]]...
  vornix-demo --help | --version

It takes the bridge's place: the same commands on standard input, the same lines on standard output,
an end with status 0 on "kill" or at the end of input. Only the radio and the devices are made up.
What is wrong with an argument it says on standard error, and ends with status 2.
A host starts it as a child process with a pipe on both sides; docs/host-protocol.md describes what
the two say to each other.

The commands, one a line (docs/host-protocol.md says when each is safe):
  CV_debutCalib               starts a calibration
  CV_finCalib                 stops it
  CV_debutAcquisition         starts the contraction records
  CV_finAcquisition           stops them
  FX_startRaw                 starts raw stream 1
  FX_stopRaw                  stops it
  FX_startRaw2                starts raw stream 2
  FX_stopRaw2                 stops it
  FX_getJson                  asks for the JSON document
  FX_cmdWriteInt CODE VALUE   sends a numbered command with a value of 32 bits
  FX_cmdWriteByte CODE VALUE  the same, 8 bits
  kill                        ends the bridge

  --devices KIND,...    %KINDS%; without it, all of them
  --control LINE        a control line, for every device that knows it: "rate 1000", "battery 5"
  --fault FAULT         misbehaviour, of the radio or of every device chosen

The radio:
  radio=STATE[@S]           off, unauthorized, unsupported or unknown; from the start, or after S
                            seconds
  radio=reset[@S]           resetting, and powered on again two seconds later; in each run

Appearance and link:
  no-name, late-name=S      the device tells no name, or only after S seconds
  late=S                    it is switched on after S seconds
  pending                   it never lets anyone connect
  slow-connection=S         a connection takes S seconds
  slow=MS                   every answer takes MS milliseconds
  lost=S                    the link is lost S seconds after it came up
  refuse-connections=N      the first N links come to nothing
  drop-at=STEP              the link is lost at that step, once in each run
  silence-at=STEP           that request is never answered, once in each run
      STEP: services, characteristics, read:UUID, write:UUID, subscribe:UUID, unsubscribe:UUID,
      request:N (the Nth of a link), value:N (drop-at: the Nth value sent)

Answers and values:
  refuse-services           service discovery fails
  refuse-characteristics    discovery of characteristics fails
)";

constexpr std::string_view kBetween = R"(
Control lines, obeyed before anything is on the air:
)";

constexpr std::string_view kEnd =
    R"(
UUID is 4 digits or 36 characters; S, MS and N are whole numbers.
)";

std::vector<std::string> allKinds() {
  std::vector<std::string> names;
  for (const DeviceKind* kind : kDeviceKinds) names.emplace_back(kind->name);
  return names;
}

std::vector<std::string> splitList(std::string_view text) {
  std::vector<std::string> parts;
  while (!text.empty()) {
    const auto [first, rest] = splitAt(text, ',');
    parts.emplace_back(first);
    text = rest;
  }
  return parts;
}

Fault parseFault(std::string_view text) {
  const auto [name, argument] = splitAt(text, '=');
  return {std::string(name), std::string(argument)};
}

}  // namespace

std::optional<Options> parseOptions(std::span<const char* const> arguments, std::string& reason) {
  Options options;
  options.devices = allKinds();
  for (std::size_t i = 0; i < arguments.size(); i += 2) {
    const std::string_view option = arguments[i];
    options.wantsHelp = option == "--help";
    options.wantsVersion = option == "--version";
    if (options.wantsHelp || options.wantsVersion) return options;
    if (i + 1 == arguments.size()) {
      reason = "not understood: " + std::string(option);
      return std::nullopt;
    }
    if (option == "--devices") {
      options.devices = splitList(arguments[i + 1]);
    } else if (option == "--control") {
      options.controls.emplace_back(arguments[i + 1]);
    } else if (option == "--fault") {
      options.faults.push_back(parseFault(arguments[i + 1]));
    } else {
      reason = "not understood: " + std::string(option);
      return std::nullopt;
    }
  }
  return options;
}

std::string helpText() {
  std::string text;
  for (const auto part : {kBeginning, kFaultsHelp, kBetween, kControlsHelp, kEnd}) text += part;
  return withKinds(std::move(text));
}

}  // namespace lab::demo
