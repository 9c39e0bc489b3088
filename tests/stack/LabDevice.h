// A vornix-lab device on a controller of its own, and its journal of what happened on the air.
#pragma once

#include <filesystem>
#include <ios>
#include <string>
#include <string_view>
#include <vector>

#include "Program.h"
#include "support/Descriptor.h"

namespace stack {

class LabDevice {
 public:
  // controller: "hci1" and so on. options: see vornix-lab --help. Journal and log go to the folder.
  // Throws std::runtime_error when the device cannot open the controller.
  LabDevice(const std::filesystem::path& folder, const std::string& controller,
            const std::string& device, const std::vector<std::string>& options = {});

  // The address of its controller, as it is printed.
  std::string address();

  // Sends a control line.
  void control(std::string_view line) const { program_.writeLine(line); }

  // Waits until the journal has this many entries that begin with the text; false at the limit.
  bool waitFor(std::string_view entry, std::size_t count = 1, Limit limit = patience);
  std::size_t count(std::string_view entry);
  std::vector<std::string> entries(std::string_view entry);  // all of these, in order

  // All entries so far.
  const std::vector<std::string>& journal();

  // The values of a characteristic that the device sent, in order, in upper-case hexadecimal
  // digits.
  std::vector<std::string> sent(std::string_view uuid);

 private:
  void readJournal();

  std::filesystem::path journalPath_;
  support::Descriptor changes_;
  Program program_;
  std::streamoff read_ = 0;
  std::vector<std::string> journal_;
};

}  // namespace stack
