#include "lab/program/Journal.h"

#include <unistd.h>

#include <cerrno>
#include <string_view>
#include <utility>

#include "lab/Text.h"

namespace lab {

Journal::~Journal() {
  ::close(fileDescriptor_);
}

void Journal::didStart(const std::string& address) {
  write("address " + address);
}

void Journal::didFail(const std::string& reason) {
  write("failed " + reason);
}

void Journal::didAdvertise() {
  write("advertising");
}

void Journal::didConnect() {
  write("connected");
}

void Journal::didDisconnect(std::uint8_t reason) {
  write("disconnected " + toHex(std::span(&reason, 1)));
}

void Journal::didTurnAway() {
  write("turned-away");
}

void Journal::didSend(const Uuid& uuid, std::span<const std::uint8_t> value) {
  writeValue("sent ", uuid, value);
}

void Journal::didRead(const Uuid& uuid) {
  write("read " + uuid.text());
}

void Journal::didWrite(const Uuid& uuid, std::span<const std::uint8_t> value) {
  writeValue("wrote ", uuid, value);
}

void Journal::didSubscribe(const Uuid& uuid, bool enabled) {
  write((enabled ? "subscribed " : "unsubscribed ") + uuid.text());
}

void Journal::didRefuse(const std::string& step) {
  write("refused " + step);
}

void Journal::writeValue(const char* event, const Uuid& uuid, std::span<const std::uint8_t> value) {
  std::string line = event + uuid.text();
  if (!value.empty()) line.append(" ").append(toHex(value));
  write(std::move(line));
}

void Journal::write(std::string line) {
  line += '\n';
  std::string_view rest = line;
  while (!rest.empty()) {
    const ssize_t written = ::write(fileDescriptor_, rest.data(), rest.size());
    if (written < 0 && errno != EINTR) return;
    if (written > 0) rest.remove_prefix(static_cast<std::size_t>(written));
  }
}

}  // namespace lab
