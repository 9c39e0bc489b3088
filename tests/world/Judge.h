// Holds what the bridge writes and does against what it must: written from the required behaviour,
// knowing only what a host, the devices and the stack can see. Whatever is wrong is thrown. It is
// the same for every platform: in what the stacks differ, Radio says.
#pragma once

#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

#include "lab/Witness.h"
#include "lab/bluetoothd/Agenda.h"
#include "tests/world/Radio.h"
#include "tests/world/Served.h"
#include "tests/world/Wrong.h"

namespace world {

using lab::Microseconds;

class Judge {
 public:
  Judge(const lab::Agenda& agenda, Radio& radio) : agenda_(agenda), radio_(radio) {}

  // The bridge's life. It begins with the banner.
  void didStart();
  void didEnd(bool isHardStop);
  void didGetKilled();

  // The host gives it a line, or the end of its input; did: it has returned from it.
  void willDo(const std::string& command);
  void didDo();
  void willEndInput() { mayExit_ = true; }
  void hostDidStall();
  void hostDidReadOn();
  // The bridge did not run for a while, though it had something to do.
  void didComeLate();

  // All links are gone, and nothing more is heard of devices.
  void didLoseStack();

  // One write of the bridge.
  void didWrite(std::string_view bytes);

  // What the stack and the devices see.
  void didHear(lab::StackDevice& device);
  void didPass(const std::string& name);  // a stranger
  void didListObjects();
  void didLinkUp(lab::StackDevice& device);
  void didLinkDown(lab::StackDevice& device);
  void didSpoil(lab::StackDevice& device, const std::string& uuid);
  void didRead(lab::StackDevice& device, const std::string& uuid, const lab::Bytes* value);
  void didWrite(lab::StackDevice& device, const std::string& uuid, const lab::Bytes& value);
  void didAnswerSubscription(lab::StackDevice& device, const std::string& uuid, bool isMade);
  void didEndSubscription(lab::StackDevice& device, const std::string& uuid);
  void didSendValue(lab::StackDevice& device, const std::string& uuid, const lab::Bytes& value);
  // The bridge has left so many where they came from that there was no room for this one.
  void didLoseValue() const;
  void didLoseWrite(lab::StackDevice& device, const std::string& uuid, const lab::Bytes& value);
  void didAskToConnect(lab::StackDevice& device);
  void didFailToConnect(lab::StackDevice& device);
  void didFailToDiscover(lab::StackDevice& device);
  void didShowCharacteristics(lab::StackDevice& device);
  void didInvalidateServices(lab::StackDevice& device);
  void lookAtSituation();

  // The bridge waits, the host reads, and everything that was asked has been answered.
  void didComeToRest();
  // After a time in which nothing has gone wrong.
  void didComeToEnd();

  bool isAlive() const { return isAlive_; }
  // The host has been told how the radio is.
  bool hasHeardOfState() const { return !told_.empty(); }

 private:
  using Lines = std::deque<std::string>;
  // A report that the bridge may make: the scan, the stack's object, whether its name was known.
  using Sighting = std::tuple<int, std::size_t, bool>;

  // What a name stands for: the key by which a host is told of it, and the family, if any.
  struct Named {
    std::string key;
    const oracle::Family* family;
  };

  void didWriteLine(const std::string& line);
  bool takeDue(Lines& due, const std::string& line);
  bool takeDueConnection(const std::string& line);
  void didTellState(const std::string& state);
  void didTellDevice(const std::string& key);
  bool beginsConnection(const std::string& line);
  void see(lab::StackDevice& device);
  void take(const std::string& name);
  const Named& named(const std::string& name) const;
  lab::StackDevice* deviceNamed(const std::string& name, bool isLowered) const;
  void didTellStop();

  void checkState() const;
  void checkFound() const;
  void checkSetUp(const Served& served) const;
  void checkScan() const;
  void checkDiscovery();
  bool isScanDue() const;

  Served* servedBy(const lab::StackDevice& device);
  void takeOrder(Served& served, const std::string& uuid, const lab::Bytes& value);
  void order(Served& served, const std::string& uuid, const lab::Bytes& bytes);
  void switchStream(Served& served, const std::string& uuid, bool isOn);
  void mustStopUnless(Served::Is is);

  const lab::Agenda& agenda_;
  Radio& radio_;

  bool isAlive_ = false;
  bool hasBanner_ = false;
  Lines due_;                        // that have to follow at once, but for a command's
  Lines commandDue_;                 // of the command that is being carried out
  std::vector<std::string> choice_;  // what was said before a connection to one of several
  bool isChoiceOpen_ = false;
  bool mustStop_ = false;
  bool mayStop_ = false;
  bool mayExit_ = false;
  bool isUnusable_ = false;  // has been told: nothing more but the end

  std::map<std::string_view, std::unique_ptr<Served>> served_;  // by family
  // Values that came before their subscription was confirmed, by device and characteristic.
  std::map<std::pair<const lab::StackDevice*, std::string>, std::vector<lab::Bytes>> early_;
  mutable std::map<std::string, Named> names_;           // that have been looked at
  std::map<std::string, std::set<Sighting>> sightings_;  // by name
  std::set<std::string> passersBy_;                      // of whom the host has not been told yet
  std::map<std::string, std::size_t> found_;             // told, by key
  std::set<std::string> foundInScan_;
  std::set<const lab::StackDevice*> reportable_;
  std::optional<Microseconds> firstRequest_;
  std::optional<Microseconds> allFound_;
  bool isScanning_ = false;
  int scans_ = 0;
  Microseconds lastStall_{-1};               // of the host or the bridge
  std::optional<std::size_t> takenInStall_;  // bytes of values; nothing while the host reads

  // The radio's state as it was told.
  std::size_t situation_ = 0;  // that was told last
  std::string told_;
  Microseconds toldAt_{0};
  std::optional<Microseconds> isDiscoveryWrongSince_;
};

}  // namespace world
