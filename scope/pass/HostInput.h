// The bridge's standard input, which two write to: the host, and whoever has the page. The host's
// bytes go on as they come; a line from the page waits until no line of the host is half written.
#pragma once

#include <string>

#include "scope/Descriptor.h"
#include "scope/pass/Tap.h"

namespace scope {

// Of one thread.
class HostInput {
 public:
  HostInput(Descriptor& bridge, TapSender& tap) : bridge_(bridge), tap_(tap) {}

  // Until the host has closed it, or the bridge no longer reads.
  bool isOpen() const { return bridge_.isOpen(); }

  // Reads what is there and writes it to the bridge.
  void takeFromHost(int source);

  // The same for whole lines. False when the source has ended.
  bool takeFromPage(int source);

 private:
  void sendWaiting();

  Descriptor& bridge_;
  TapSender& tap_;
  bool isInLine_ = false;  // of the host
  std::string waiting_;    // from the page
};

}  // namespace scope
