#include "tests/world/bluez/Setting.h"

#include <array>
#include <memory>

namespace world {

namespace {

lab::Traits traitsOf(lab::Dice& dice) {
  lab::Traits traits;
  traits.offersSockets = !dice.oneIn(4);
  traits.answersRefusedSockets = dice.oneIn(2);
  traits.tellsConnected = !dice.oneIn(8);
  traits.tellsDiscoveringOff = !dice.oneIn(4);
  traits.signalsValuesEarly = dice.oneIn(2);
  traits.succeedsWithoutALink = dice.oneIn(6);
  traits.resolvesBeforeObjects = dice.oneIn(4);
  traits.tellsLossBeforeErrors = dice.oneIn(2);
  traits.powersAdaptersLate = dice.oneIn(3);
  traits.joinsChanges = dice.oneIn(2);
  traits.forgetsAtDiscoveryEnd = dice.oneIn(2);
  traits.offersMoreSockets = dice.oneIn(2);
  traits.tellsConnectedLate = dice.oneIn(4);
  traits.showsAccessService = dice.oneIn(2);
  traits.tellsPowerFirst = dice.oneIn(2);
  traits.forgetsAtPowerOff = !dice.oneIn(4);
  traits.namesFailures = !dice.oneIn(4);
  traits.forgetsFailed = dice.oneIn(2);
  return traits;
}

// The dear ones, after which nothing much can happen, are rare.
constexpr std::array<Weight, 17> kWeights{{
    {Incident::Kind::vanish, 4},
    {Incident::Kind::loseLink, 3},
    {Incident::Kind::spoilRequest, 2},
    {Incident::Kind::spoilValues, 1},
    {Incident::Kind::values, 8},
    {Incident::Kind::powerOff, 1},
    {Incident::Kind::unplug, 1},
    {Incident::Kind::stopStack, 2},
    {Incident::Kind::standStill, 3},
    {Incident::Kind::changeAlias, 6},
    {Incident::Kind::discover, 4},
    {Incident::Kind::removeDevice, 2},
    {Incident::Kind::stallHost, 4},
    {Incident::Kind::command, 14},
    {Incident::Kind::loseBus, 1},
    {Incident::Kind::restartBridge, 3},
    {Incident::Kind::killBridge, 2},
}};

}  // namespace

std::span<const Weight> weightsHere() {
  return kWeights;
}

std::shared_ptr<const Setting> drawSetting(lab::Dice& dice) {
  Setting setting;
  setting.traits = traitsOf(dice);
  setting.deniesAccess = dice.oneIn(60);
  setting.deniesDiscovery = dice.oneIn(60);
  setting.isStackThere = !dice.oneIn(40);
  setting.discoversForAnother = dice.oneIn(3);
  const std::size_t adapters = dice.oneIn(40) ? 0 : dice.oneIn(4) ? 2 : 1;
  setting.adapters.clear();
  for (std::size_t i = 0; i < adapters; ++i) setting.adapters.push_back(!dice.oneIn(20));
  if (dice.oneIn(10)) setting.onlyAdapter = dice.oneIn(2) ? "hci0" : "hci1";
  return std::make_shared<const Setting>(std::move(setting));
}

}  // namespace world
