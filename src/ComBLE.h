// The bridge's one BLE central: it follows the radio's state, scans, picks one device of each
// family by its name, connects to it and starts the discovery of its services. A lost device is
// neither reported nor sought again. Main thread; comCorvelta and comFenwix may be read by any.
#pragma once

#include <memory>
#include <string_view>
#include <tuple>

#include "ComCorvelta.h"
#include "ComFenwix.h"
#include "ComSonde.h"
#include "ComTramsel.h"
#include "HandlerSlot.h"
#include "platform/Platform.h"

class ComBLE final : public platform::CBCentralManagerDelegate {
 public:
  // The platform outlives the object.
  explicit ComBLE(platform::Platform& system);

  // Reports an unusable radio to the host, and ends the process one second later with status 0.
  void centralManagerDidUpdateState(platform::CBCentralManager& central) override;
  void centralManagerDidDiscover(platform::CBCentralManager& central,
                                 const std::shared_ptr<platform::CBPeripheral>& device) override;
  void centralManagerDidConnect(platform::CBCentralManager& central,
                                const std::shared_ptr<platform::CBPeripheral>& device) override;

  std::unique_ptr<platform::CBCentralManager> manager;
  HandlerSlot<ComSonde> comSonde;
  HandlerSlot<ComTramsel> comTramsel;
  HandlerSlot<ComCorvelta> comCorvelta;
  HandlerSlot<ComFenwix> comFenwix;

  // All slots, in the order in which they are tried for a discovered device.
  auto slots() { return std::tie(comTramsel, comSonde, comCorvelta, comFenwix); }
  // All slots, in the order in which they are tried for a connected device. It may be in several,
  // since its name may have changed between two discoveries.
  auto slotsByConnection() { return std::tie(comTramsel, comFenwix, comCorvelta, comSonde); }

  double datePremiereConn = 0;  // first connection request, in seconds since 1970; 0: none yet
  bool scanEnCours = false;

 private:
  template <class Handler>
  bool take(const std::shared_ptr<platform::CBPeripheral>& device, std::string_view key,
            HandlerSlot<Handler>& slot);
  void connecting(const std::shared_ptr<platform::CBPeripheral>& peripheral);

  platform::Platform& platform_;
};
