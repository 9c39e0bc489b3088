#include "lab/program/Options.h"

#include <string_view>

#include "lab/Text.h"
#include "lab/models/Help.h"
#include "lab/models/Models.h"

namespace lab {
namespace {

constexpr std::string_view kBeginning =
    R"(vornix-lab: a measurement device on a Bluetooth controller of its own

  vornix-lab --controller hciN --device KIND [OPTION...]
  vornix-lab --help | --version

KIND: %KINDS%. The device advertises, lets one central connect,
answers and streams until its standard input ends. What a bridge tells its host of such a device is
described in docs/host-protocol.md.

  --name NAME        what it is called (empty: it tells no name); each kind has a usual one
  --rate N           values per second, of every stream
  --count N          each stream ends after N values per subscription
  --mtu N            the largest ATT packet it offers, 23 to 517
  --fault FAULT      misbehaviour, see below; may be given several times
  --control LINE     any control line, obeyed before it advertises; may be given several times
  --journal FILE     where events are appended, one line each; else standard output

A real dongle. The program owns its controller: it takes the adapter down and speaks to it through
the kernel's HCI user channel, so bluetoothd and every other program lose that one adapter until
vornix-lab ends. It needs root, or CAP_NET_ADMIN and CAP_NET_RAW
(sudo setcap cap_net_admin,cap_net_raw+ep vornix-lab), and Linux. A bridge on the same machine
needs a second adapter. "hciconfig" or "ls /sys/class/bluetooth" lists the adapters; afterwards
"sudo hciconfig hciN up" or "bluetoothctl power on" gives it back.

Control lines on standard input:
  advertise on|off      connectable on|off
  name-in advertisement|scan-response           (where the name is advertised)
  drop                  ends the link (drop XX: with that HCI reason, in hexadecimal)
  vanish                switched off: no link, and no advertising until "advertise on"
  fault FAULT           fault clear
)";

constexpr std::string_view kLinkFaults =
    R"(
Faults:
  refuse-connections=N             the next N links are ended at their third request
  drop-at=STEP                     the link is lost at that step, once
  silence-at=STEP                  that request is never answered, once
  late-at=STEP,MS                  that request is answered MS milliseconds later, once
      STEP: mtu, services, characteristics, descriptors, read:UUID, write:UUID, subscribe:UUID,
      unsubscribe:UUID, request:N (the Nth of a link), value:N (drop-at: the Nth value sent).
      A link lost at its very first request (mtu) crashes Linux 6.1 on the central's side.
)";

constexpr std::string_view kEnd =
    R"(
Journal: address, advertising, connected, turned-away, disconnected XX (HCI reason), read UUID,
wrote UUID HEX, subscribed UUID, unsubscribed UUID, refused STEP, sent UUID HEX (taken by the
controller), failed REASON. UUID: upper case, 4 digits or 36 characters. HEX: upper case.

A control line that is not understood is named on standard error and passed over.
Exit status: 0 at the end of input, on SIGINT and SIGTERM (the link is then ended in order), 1 when
the controller cannot be used (any more), 2 for a command line that is not understood.
)";

bool parseController(std::string_view text, int& controller) {
  if (!text.starts_with("hci")) return false;
  const std::optional<std::uint32_t> number = toNumber(text.substr(3));
  if (!number || *number > 0xFFFF) return false;
  controller = static_cast<int>(*number);
  return true;
}

bool parseMtu(std::string_view text, std::size_t& mtu) {
  const std::optional<std::uint32_t> number = toNumber(text);
  if (!number || *number < 23 || *number > 517) return false;
  mtu = *number;
  return true;
}

bool parseOption(std::string_view option, const std::string& value, Options& options) {
  if (option == "--controller") return parseController(value, options.controller);
  if (option == "--mtu") return parseMtu(value, options.largestMtu);
  if (option == "--device") {
    options.device = value;
  } else if (option == "--journal") {
    options.journal = value;
  } else if (option == "--control") {
    options.controls.push_back(value);
  } else if (option == "--name" || option == "--rate" || option == "--count" ||
             option == "--fault") {
    options.controls.push_back(std::string(option.substr(2)) + ' ' + value);
  } else {
    return false;
  }
  return true;
}

}  // namespace

std::optional<Options> parseOptions(std::span<const char* const> arguments, std::string& reason) {
  Options options;
  for (std::size_t i = 0; i < arguments.size(); i += 2) {
    const std::string_view option = arguments[i];
    options.wantsHelp = option == "--help";
    options.wantsVersion = option == "--version";
    if (options.wantsHelp || options.wantsVersion) return options;
    if (i + 1 == arguments.size() || !parseOption(option, arguments[i + 1], options)) {
      reason = "not understood: " + std::string(option);
      if (i + 1 < arguments.size()) reason += std::string(" ") + arguments[i + 1];
      return std::nullopt;
    }
  }
  if (options.controller < 0 || options.device.empty()) {
    reason = "--controller and --device are needed";
    return std::nullopt;
  }
  return options;
}

std::string helpText() {
  std::string text;
  for (const auto part :
       {kBeginning, kControlsHelp, kLinkControlsHelp, kLinkFaults, kFaultsHelp, kEnd}) {
    text += part;
  }
  return withKinds(std::move(text));
}

}  // namespace lab
