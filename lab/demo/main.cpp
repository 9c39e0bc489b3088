// vornix-demo: see --help (Options.cpp).
#include <unistd.h>

#include <cstdio>
#include <string>

#include "lab/demo/Air.h"
#include "lab/demo/Options.h"
#include "main.h"

namespace {

constexpr int kMisuse = 2;

int complain(const std::string& what) {
  std::fprintf(stderr, "vornix-demo: %s (see --help)\n", what.c_str());
  return kMisuse;
}

// Only for a person at a terminal: a host gets nothing but the bridge's own lines.
void introduce() {
  if (::isatty(STDERR_FILENO) == 0) return;
  std::fputs(
      "You see the bridge's log, <@time : text>, and its messages to the host, which begin with "
      "the "
      "kind: docs/host-protocol.md lists them.\n"
      "Type, each with Enter: FX_getJson  FX_startRaw  FX_stopRaw  CV_debutCalib  CV_finCalib  "
      "CV_debutAcquisition  CV_finAcquisition, and kill to end.\n",
      stderr);
}

}  // namespace

int main(int argc, char** argv) {
  std::string reason;
  const auto options = lab::demo::parseOptions(std::span(argv + 1, argv + argc), reason);
  if (!options) return complain(reason);
  if (options->wantsHelp) {
    std::fputs(lab::demo::helpText().c_str(), stdout);
    return 0;
  }
  if (options->wantsVersion) {
    std::puts("vornix-demo " VORNIX_VERSION);
    return 0;
  }
  // Not destroyed: the bridge's other thread uses it until the process ends.
  static lab::demo::Air air;
  for (const std::string& device : options->devices) {
    if (!air.add(device)) return complain("no such device: " + device);
  }
  for (const std::string& line : options->controls) {
    if (!air.control(line)) return complain("no device knows: " + line);
  }
  for (const lab::demo::Fault& fault : options->faults) {
    if (air.setFault(fault.name, fault.argument)) continue;
    return complain("no such fault, or not with this argument: " + fault.name + "=" +
                    fault.argument);
  }
  introduce();
  return runVornix(air.platform());
}
