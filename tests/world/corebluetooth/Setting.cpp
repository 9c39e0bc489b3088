#include "tests/world/corebluetooth/Setting.h"

#include <array>
#include <memory>

namespace world {

using namespace std::chrono_literals;

namespace {

// The dear ones, after which nothing much can happen, are rare.
constexpr std::array<Weight, 16> kWeights{{
    {Incident::Kind::vanish, 4},
    {Incident::Kind::loseLink, 2},
    {Incident::Kind::spoilRequest, 2},
    {Incident::Kind::spoilValues, 1},
    {Incident::Kind::values, 8},
    {Incident::Kind::powerOff, 1},
    {Incident::Kind::resetRadio, 3},
    {Incident::Kind::loseState, 1},
    {Incident::Kind::delayCalls, 3},
    {Incident::Kind::holdDevice, 4},
    {Incident::Kind::forgetPairing, 3},
    {Incident::Kind::changeServices, 5},
    {Incident::Kind::stallHost, 4},
    {Incident::Kind::command, 14},
    {Incident::Kind::restartBridge, 4},
    {Incident::Kind::killBridge, 3},
}};

}  // namespace

std::span<const Weight> weightsHere() {
  return kWeights;
}

std::shared_ptr<const Setting> drawSetting(lab::Dice& dice) {
  Setting setting;
  setting.tellsLinksTwice = dice.oneIn(3);
  setting.failsWaitingRequests = dice.oneIn(2);
  setting.advertisesOtherNames = dice.oneIn(3);
  setting.isOff = dice.oneIn(60);
  setting.hasRadio = !dice.oneIn(60);
  setting.asksPerson = dice.oneIn(8);
  setting.isUnauthorizedMeanwhile = dice.oneIn(2);
  setting.isAllowed = !dice.oneIn(3);
  setting.answer = dice.between(0s, 10s);
  return std::make_shared<const Setting>(setting);
}

}  // namespace world
