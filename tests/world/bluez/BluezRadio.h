// What the judge has to know of BlueZ: the state that follows from bluetoothd's being there, from
// its adapters and from the one that the bridge uses.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "lab/bluetoothd/Bluetoothd.h"
#include "tests/world/Radio.h"

namespace world {

class BluezRadio final : public Radio {
 public:
  // onlyAdapter: the one that the bridge may use; empty for any.
  BluezRadio(const lab::Agenda& agenda, lab::Bluetoothd& bluetoothd, std::string onlyAdapter);

  void didLoseBus() { hasBus_ = false; }

  bool isToBeTold(std::size_t situation) const override;
  std::optional<bool> isDiscovering() const override;
  bool doesReport(const lab::StackDevice& device) const override;
  void didListObjects() override;
  void didReceive(std::string_view path, std::string_view member) override;
  void didAsk(const std::string& path, const std::string& member) override;

 private:
  void forget() override;
  std::string situation() override;
  std::string situationOfAdapters() const;
  void didAskToConnect(const std::string& path) const;
  void use(const std::string& adapter);
  bool admits(const std::string& adapter) const;

  lab::Bluetoothd& bluetoothd_;
  const std::string onlyAdapter_;
  bool sawStack_ = false;
  bool hasBus_ = true;
  bool wasRunning_ = false;
  bool hasAskedToDiscover_ = false;
  std::optional<Microseconds> settlesUntil_;  // bluetoothd has come while the bridge was there
  std::string adapter_;                       // that the bridge uses
  std::string lastAdapter_;                   // that it has used last
  std::size_t adapterSince_ = 0;              // of the situations
  // How often the bridge has asked for what in a second that began then.
  std::map<std::string, std::pair<Microseconds, int>> asked_;
};

}  // namespace world
