// What passes on the bus between the platform and bluetoothd, written in a form in which two plays
// of the same scene can be compared: the recorded play of the real bluetoothd, and the model's.
// Everything that is left out, and all that is renamed, is decided here.
#pragma once

#include <systemd/sd-bus.h>

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace contract {

class Traffic {
 public:
  // What follows belongs to this step of the scene. A scene begins the next step only when all is
  // quiet, so that nothing that passes belongs to another step in another play. What comes before
  // the first step tells the names of objects, and is not written.
  void beginStep(const std::string& name);

  // A message that has passed, sealed; in the order of the bus. Answers to calls that were not
  // added are left out. It is read from its beginning, and left there.
  void add(sd_bus_message* message);

  std::string text() const;

 private:
  // Paths of objects are written as they are, and get their names in text(), when all are known.
  // A line has its list of objects behind it, if it has one.
  using Lines = std::vector<std::vector<std::string>>;
  // When a call reaches the bus, between what bluetoothd sends then, is the scheduler's business,
  // and so are these written apart. bluetoothd's answers and signals have one order; but what it
  // answers at once, what it tells of discovery and what it tells of the devices wait for nothing
  // of each other, so that which of them is first differs from play to play.
  struct Step {
    std::string name;
    Lines calls;
    Lines answeredAtOnce;
    Lines ofDiscovery;
    Lines told;
  };

  void addCall(sd_bus_message* call);
  void addAnswer(sd_bus_message* answer);
  void addSignal(sd_bus_message* signal);
  std::string readObject(sd_bus_message* message, const std::string& path);
  std::string readInterface(sd_bus_message* message, const std::string& path,
                            const std::string& interface);
  std::vector<std::string> readAllObjects(sd_bus_message* message);
  std::string readChange(sd_bus_message* signal, const std::string& path);
  void tell(const std::string& line) { steps_.back().told.push_back({line}); }
  std::string named(std::string line) const;
  std::string textOf(const char* mark, const Lines& lines) const;

  std::vector<Step> steps_{{}};
  // The calls without an answer, by who made them and their number.
  std::map<std::pair<std::string, std::uint64_t>, std::string> calls_;
  std::map<std::string, std::string> names_;  // of objects, by path
};

}  // namespace contract
