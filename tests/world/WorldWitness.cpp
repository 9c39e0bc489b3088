// What happens between the bridge and the devices, as a session prints it and its judge is told.
#include <chrono>
#include <cstdio>

#include "tests/world/World.h"

namespace world {

namespace {

std::string hex(const lab::Bytes& bytes) {
  std::string text;
  char digits[4];
  for (const std::uint8_t byte : bytes) {
    std::snprintf(digits, sizeof(digits), " %02X", byte);
    text += digits;
  }
  return text;
}

}  // namespace

void World::tell(const std::string& text) {
  if (!print_) return;
  char time[32];
  std::snprintf(time, sizeof(time), "%11.6f  ", std::chrono::duration<double>(now()).count());
  print_(time + text);
}

void World::didHear(lab::StackDevice& device) {
  judge_.didHear(device);
}

void World::didLinkUp(lab::StackDevice& device) {
  tell("  link up: " + device.model().name());
  judge_.didLinkUp(device);
}

void World::didLinkDown(lab::StackDevice& device) {
  tell("  link down: " + device.model().name());
  judge_.didLinkDown(device);
}

void World::didRead(lab::StackDevice& device, std::string_view uuid, const lab::Bytes* value) {
  tell("  read " + std::string(uuid) + (value != nullptr ? hex(*value) : " refused"));
  judge_.didRead(device, std::string(uuid), value);
}

void World::didWrite(lab::StackDevice& device, std::string_view uuid, const lab::Bytes& value) {
  tell("  write " + std::string(uuid) + hex(value));
  judge_.didWrite(device, std::string(uuid), value);
}

void World::didAnswerSubscription(lab::StackDevice& device, std::string_view uuid, bool isMade) {
  tell("  subscription " + std::string(uuid) + (isMade ? " made" : " refused"));
  judge_.didAnswerSubscription(device, std::string(uuid), isMade);
  if (isMade && orderDice_.oneIn(5)) orderFrom(device, 1 + orderDice_.below(4));
}

void World::didEndSubscription(lab::StackDevice& device, std::string_view uuid) {
  tell("  subscription " + std::string(uuid) + " ends");
  judge_.didEndSubscription(device, std::string(uuid));
}

void World::didSendValue(lab::StackDevice& device, std::string_view uuid, const lab::Bytes& value) {
  tell("  value " + std::string(uuid) + hex(value));
  judge_.didSendValue(device, std::string(uuid), value);
}

void World::didReceive(std::string_view path, std::string_view member) {
  scene_->radio().didReceive(path, member);
}

void World::didAsk(const std::string& path, const std::string& member) {
  tell("  " + member + " " + path);
  scene_->radio().didAsk(path, member);
}

void World::didListObjects() {
  judge_.didListObjects();
}

void World::didAskToConnect(lab::StackDevice& device) {
  tell("  connect " + device.model().name());
  judge_.didAskToConnect(device);
}

void World::didFailToConnect(lab::StackDevice& device) {
  tell("  no link: " + device.model().name());
  judge_.didFailToConnect(device);
}

void World::didFailToDiscover(lab::StackDevice& device) {
  tell("  services refused: " + device.model().name());
  judge_.didFailToDiscover(device);
}

void World::didShowCharacteristics(lab::StackDevice& device) {
  judge_.didShowCharacteristics(device);
}

void World::didInvalidateServices(lab::StackDevice& device) {
  tell("  services invalid: " + device.model().name());
  judge_.didInvalidateServices(device);
  // Its services are found again soon, and few orders would be given by chance until then.
  if (orderDice_.oneIn(3)) orderFrom(device, 1);
}

void World::didLose(lab::StackDevice& /*device*/, std::string_view uuid) {
  tell("  no room for a value " + std::string(uuid));
  judge_.didLoseValue();
}

void World::didLoseWrite(lab::StackDevice& device, std::string_view uuid, const lab::Bytes& value) {
  tell("  write lost " + std::string(uuid) + hex(value));
  judge_.didLoseWrite(device, std::string(uuid), value);
}

}  // namespace world
