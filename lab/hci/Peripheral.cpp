#include "lab/hci/Peripheral.h"

#include <poll.h>

#include <algorithm>
#include <utility>

#include "lab/Text.h"

namespace lab {
namespace {

using std::chrono::milliseconds;

constexpr std::uint16_t kAttChannel = 0x0004;
constexpr std::uint16_t kSignallingChannel = 0x0005;
constexpr std::uint16_t kSecurityChannel = 0x0006;

// Advertising is enabled again and again, since btvirt (BlueZ's emulated controllers) reports an
// advertisement only once per enable: a central that begins to scan later would not see it.
constexpr auto kAdvertisingPeriod = milliseconds(100);

constexpr auto kStartPatience = std::chrono::seconds(5);
// A link is turned away at this request and not at its first, which would crash Linux 6.1 on the
// central's side (list corruption in hci_chan_del).
constexpr int kRequestsUntilTurnedAway = 3;

constexpr auto kEndPatience = std::chrono::seconds(1);

// HCI reasons for the end of a link.
constexpr std::uint8_t kUserEnded = 0x13;
constexpr std::uint8_t kPowerOff = 0x15;

// Packets that may wait for the controller: enough to keep its buffers filled, few enough that the
// answer to a request does not wait long behind values.
constexpr std::size_t kLongestBacklog = 8;

}  // namespace

Peripheral::Peripheral(HciChannel channel, DeviceModel& model, PeripheralObserver& observer,
                       std::size_t largestMtu)
    : model_(model),
      observer_(observer),
      largestMtu_(largestMtu),
      controller_(std::move(channel), *this),
      start_(Clock::now()),
      nextAdvertisement_(start_) {
  controller_.start();
}

Peripheral::~Peripheral() {
  setAdvertising(false);
  drop();
  for (const auto end = Clock::now() + kEndPatience;
       server_ && Clock::now() < end && !hasFailed();) {
    pollfd wanted{fileDescriptor(), events(), 0};
    ::poll(&wanted, 1, 100);
    controller_.process();
  }
  if (server_ && !requestsUntilTurnedAway_) model_.disconnected();
}

short Peripheral::events() const {
  return static_cast<short>(controller_.wantsToWrite() ? POLLIN | POLLOUT : POLLIN);
}

std::optional<Peripheral::Clock::time_point> Peripheral::deadline() const {
  if (state_ == State::failed) return std::nullopt;
  if (state_ == State::starting) return start_ + kStartPatience;
  std::optional<Clock::time_point> deadline = modelDeadline_;
  if (isAdvertising_ && !server_) {
    deadline = std::min(deadline.value_or(nextAdvertisement_), nextAdvertisement_);
  }
  if (!lateRequest_.empty()) deadline = std::min(deadline.value_or(lateAnswer_), lateAnswer_);
  return deadline;
}

void Peripheral::serve() {
  controller_.process();
  const Clock::time_point now = Clock::now();
  if (state_ == State::starting && now >= start_ + kStartPatience) {
    controllerFailed("the controller does not answer");
  }
  if (state_ != State::ready) return;
  keepAdvertising(now);
  answerLateRequest(now);
  const auto elapsed = std::chrono::duration_cast<Microseconds>(now - start_);
  const std::optional<Microseconds> next = model_.advance(elapsed);
  modelDeadline_ = next ? std::optional(start_ + *next) : std::nullopt;
}

void Peripheral::runUntil(Clock::time_point end, int otherInput) {
  for (Clock::time_point now = Clock::now(); now < end && !hasFailed(); now = Clock::now()) {
    const Clock::time_point wake = std::min(deadline().value_or(end), end);
    const auto wait = std::max(wake - now, Clock::duration::zero());
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(wait);
    const timespec timeout{static_cast<time_t>(seconds.count()),
                           static_cast<long>((wait - seconds).count())};
    pollfd wanted[]{{fileDescriptor(), events(), 0}, {otherInput, POLLIN, 0}};
    ::ppoll(wanted, 2, &timeout, nullptr);
    serve();
    if (wanted[1].revents != 0) return;
  }
}

bool Peripheral::control(std::string_view line) {
  const auto [verb, argument] = splitAt(line, ' ');
  if (verb != "fault") return controlRadio(verb, argument);
  if (argument == "clear") {
    faults_.clear();
    return false;
  }
  const auto [name, value] = splitAt(argument, '=');
  return faults_.set(name, value);
}

bool Peripheral::controlRadio(std::string_view verb, std::string_view argument) {
  const bool isOn = argument == "on";
  const bool isSwitch = isOn || argument == "off";
  if (verb == "advertise" && isSwitch) {
    setAdvertising(isOn);
  } else if (verb == "connectable" && isSwitch) {
    isConnectable_ = isOn;
  } else if (verb == "name-in" && argument == "advertisement") {
    namePlace_ = NamePlace::advertisement;
  } else if (verb == "name-in" && argument == "scan-response") {
    namePlace_ = NamePlace::scanResponse;
  } else if (const auto count = toNumber(argument); verb == "spare-links" && count) {
    controller_.leaveLinksAlone(*count);
  } else if (verb == "drop" && argument.empty()) {
    drop();
  } else if (const auto reason = fromHex(argument);
             verb == "drop" && reason && reason->size() == 1) {
    controller_.disconnect(reason->front());
  } else if (verb == "vanish" && argument.empty()) {
    setAdvertising(false);
    controller_.disconnect(kPowerOff);
  } else {
    return false;
  }
  return true;
}

void Peripheral::controllerReady(const std::string& address) {
  if (std::exchange(state_, State::ready) == State::starting) observer_.didStart(address);
}

void Peripheral::controllerFailed(const std::string& reason) {
  if (std::exchange(state_, State::failed) != State::failed) observer_.didFail(reason);
}

void Peripheral::linkUp() {
  wasAdvertising_ = false;
  server_.emplace(model_, observer_, largestMtu_);
  if (faults_.refusesConnection()) {
    requestsUntilTurnedAway_ = kRequestsUntilTurnedAway;
    return;
  }
  faults_.linkUp();
  observer_.didConnect();
  model_.connected(*this);
}

void Peripheral::linkDown(std::uint8_t reason) {
  nextAdvertisement_ = Clock::now();
  server_.reset();
  lateRequest_.clear();
  if (std::exchange(requestsUntilTurnedAway_, std::nullopt)) return;
  model_.disconnected();
  observer_.didDisconnect(reason);
}

void Peripheral::received(std::uint16_t channel, std::span<const std::uint8_t> payload) {
  if (!server_ || payload.empty()) return;
  if (channel == kAttChannel) receivedRequest(payload);
  if (channel == kSignallingChannel) rejectSignal(payload);
  if (channel == kSecurityChannel) rejectPairing(payload);
}

void Peripheral::receivedRequest(std::span<const std::uint8_t> pdu) {
  if (requestsUntilTurnedAway_ && --*requestsUntilTurnedAway_ == 0) {
    observer_.didTurnAway();
    return drop();
  }
  switch (faults_.onRequest(server_->step(pdu))) {
    case LinkFaults::Verdict::drop:
      return drop();
    case LinkFaults::Verdict::ignore:
      return;
    case LinkFaults::Verdict::delay:
      lateRequest_.assign(pdu.begin(), pdu.end());
      lateAnswer_ = Clock::now() + faults_.delay();
      return;
    case LinkFaults::Verdict::serve:
      return answer(pdu);
  }
}

void Peripheral::answer(std::span<const std::uint8_t> pdu) {
  const Bytes response = server_->receive(pdu);
  if (!response.empty()) controller_.send(kAttChannel, response);
}

void Peripheral::answerLateRequest(Clock::time_point now) {
  if (lateRequest_.empty() || now < lateAnswer_) return;
  answer(std::exchange(lateRequest_, {}));
}

// L2CAP carries nothing but ATT here. Rejects and parameter responses are ignored, a credit based
// channel is refused with its own response, and everything else is rejected as not understood.
void Peripheral::rejectSignal(std::span<const std::uint8_t> signal) {
  constexpr std::uint8_t kCommandReject = 0x01;
  constexpr std::uint8_t kParameterResponse = 0x13;
  constexpr std::uint8_t kChannelRequest = 0x14;
  constexpr std::uint8_t kChannelResponse = 0x15;
  constexpr std::uint8_t kNoSuchService = 0x02;
  if (signal.size() < 4 || signal[0] == kCommandReject || signal[0] == kParameterResponse) return;
  const std::uint8_t identifier = signal[1];
  if (signal[0] == kChannelRequest) {
    const Bytes refusal{kChannelResponse, identifier, 10, 0, 0, 0, 0, 0, 0, 0, 0, 0,
                        kNoSuchService,   0};
    return controller_.send(kSignallingChannel, refusal);
  }
  const Bytes reject{kCommandReject, identifier, 2, 0, 0, 0};
  controller_.send(kSignallingChannel, reject);
}

void Peripheral::rejectPairing(std::span<const std::uint8_t> pairing) {
  constexpr std::uint8_t kPairingRequest = 0x01;
  const Bytes pairingNotSupported{0x05, 0x05};
  if (pairing[0] == kPairingRequest) controller_.send(kSecurityChannel, pairingNotSupported);
}

bool Peripheral::notify(CharacteristicIndex characteristic, std::span<const std::uint8_t> value) {
  if (!server_) return true;
  if (controller_.backlog() >= kLongestBacklog) return false;
  if (server_->indicates(characteristic) && server_->isAwaitingConfirmation()) return false;
  const std::optional<Bytes> pdu = server_->valuePdu(characteristic, value);
  if (!pdu) return true;
  controller_.send(kAttChannel, *pdu,
                   [this, uuid = server_->uuid(characteristic),
                    sent = Bytes(pdu->begin() + 3, pdu->end())] { valueHanded(uuid, sent); });
  return true;
}

void Peripheral::valueHanded(const Uuid& uuid, const Bytes& value) {
  observer_.didSend(uuid, value);
  if (faults_.dropsAfterValue()) drop();
}

std::size_t Peripheral::largestNotification() const {
  return server_ ? server_->mtu() - 3 : 0;
}

std::optional<Bytes> Peripheral::withdraw(std::string_view service) {
  const std::optional<Uuid> uuid = Uuid::parse(service);
  return server_ && uuid ? server_->withdraw(*uuid) : std::nullopt;
}

void Peripheral::drop() {
  controller_.disconnect(kUserEnded);
}

void Peripheral::keepAdvertising(Clock::time_point now) {
  if (!isAdvertising_ || server_ || now < nextAdvertisement_) return;
  nextAdvertisement_ = now + kAdvertisingPeriod;
  if (!controller_.isIdle()) return;
  controller_.advertise(makeAdvertisement(model_.name(), namePlace_, isConnectable_));
  if (!std::exchange(wasAdvertising_, true)) observer_.didAdvertise();
}

void Peripheral::setAdvertising(bool enabled) {
  if (isAdvertising_ && !enabled && !server_) controller_.stopAdvertising();
  isAdvertising_ = enabled;
  wasAdvertising_ = false;
  nextAdvertisement_ = Clock::now();
}

}  // namespace lab
