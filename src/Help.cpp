#include "Help.h"

#include <cstdio>
#include <string_view>

namespace {

constexpr std::string_view kHelp =
    R"(vornix: a bridge between a host application and Bluetooth LE measurement devices

  vornix
  vornix --help | --version

A host application starts it, without arguments, as a child process with a pipe to its standard
input and a pipe from its standard output. It looks for devices, connects to one of each family, and
writes what they measure: one line per value, framed and checksummed. It takes the host's commands,
one per line, and ends when its input ends or by the command "kill". Any other argument is ignored.

The families, and what their devices' names begin with:
  Tramsel   motion sensor        tramsel, dorvane
  probe     Ilo or Tenoval       ilo, tenoval, pelko, pelk0, kvaltrin
  Corvelta  contraction monitor  tarvix
  Fenwix    pod                  nomsuel

To see what is on the air for a minute:  sleep 60 | vornix

The protocol (every message, every command, the checksum): host-protocol.md, below the place of
installation in share/doc/vornix, among the sources in docs. In short: man vornix
)";

constexpr std::string_view kVersion = "vornix " VORNIX_VERSION "\n";

void print(std::string_view text) {
  std::fwrite(text.data(), 1, text.size(), stdout);
}

}  // namespace

bool answersPerson(std::span<char* const> arguments) {
  for (const std::string_view argument : arguments.subspan(arguments.empty() ? 0 : 1)) {
    if (argument != "--help" && argument != "--version") continue;
    print(argument == "--help" ? kHelp : kVersion);
    return true;
  }
  return false;
}
