#include "tests/oracle/Handlers.h"
#include "tests/oracle/Identifiers.h"
#include "tests/oracle/Rms.h"
#include "tests/oracle/Utf8.h"

namespace oracle {

namespace {

class Fenwix final : public Handler {
 public:
  Fenwix(Expected& expected, const Device& device) : Handler(expected, device, fenwix) {
    expected_.call(device_.label + " setDelegate");
  }
  std::unique_ptr<Handler> copy() const override { return std::make_unique<Fenwix>(*this); }
  void valueUpdated(std::string_view uuid, const std::optional<Bytes>& value) override;
  void notificationStateUpdated(std::string_view uuid,
                                const std::optional<Failure>& failure) override;

 private:
  using Number = std::optional<std::uint32_t>;

  void rmsValue(const std::string& kind, const Bytes& value);
  void rawValue(const std::string& kind, const Bytes& value);
  void batteryValue(std::optional<int>& target, const Bytes& value);
  void identification(Number& target, const Bytes& value, bool isSerial);
  void identificationEvent();
  void replyPart(const Bytes& part);
  void replyComplete();

  std::optional<int> level_;
  std::optional<int> health_;
  Number serial_, modele_, firmware_, hardware_, systid_;
  std::size_t confirmations_ = 0;

  // The reply being received: the number of bytes still missing, and those that have come.
  int missing_ = 0;
  int code_ = 0;
  std::string received_;
};

void Fenwix::notificationStateUpdated(std::string_view uuid,
                                      const std::optional<Failure>& failure) {
  if (uuid != characCommand) return;
  if (!failure) ++confirmations_;
  expected_.log("didUpdateNotificationStateFor " + printed(uuid) + " : " +
                (failure ? "Erreur : " + failure->message : "ok"));
  identificationEvent();
}

void Fenwix::valueUpdated(std::string_view uuid, const std::optional<Bytes>& value) {
  if (!value) expected_.hardStop();
  if (uuid == characRms) rmsValue("P1;", *value);
  if (uuid == characRms2) rmsValue("P2;", *value);
  if (uuid == characBatt) batteryValue(level_, *value);
  if (uuid == characBattHealth) batteryValue(health_, *value);
  if (uuid == characModele) identification(modele_, *value, false);
  if (uuid == characSerial) identification(serial_, *value, true);
  if (uuid == characHardware) identification(hardware_, *value, false);
  if (uuid == characFirmware) identification(firmware_, *value, false);
  if (uuid == characSystid) identification(systid_, *value, false);
  if (uuid == characRaw) rawValue("PR1;", *value);
  if (uuid == characRaw2) rawValue("PR2;", *value);
  if (uuid == characCommand) replyPart(*value);
}

void Fenwix::rmsValue(const std::string& kind, const Bytes& value) {
  byteAt(value, 3);
  const auto level = rms(value);
  if (!level) expected_.hardStop();
  expected_.message(kind + std::to_string(*level) + ";");
}

void Fenwix::rawValue(const std::string& kind, const Bytes& value) {
  const std::string digits = "0123456789ABCDEF";
  std::string text = kind;
  for (const std::size_t byte : value) {
    text += digits[byte / 16];
    text += digits[byte % 16];
  }
  expected_.message(text + ";");
}

void Fenwix::batteryValue(std::optional<int>& target, const Bytes& value) {
  target = byteAt(value, 0);
  if (!level_ || !health_) return;
  expected_.message("P0;" + std::to_string(*level_) + ";" + std::to_string(*health_) + ";");
}

void Fenwix::identification(Number& target, const Bytes& value, bool isSerial) {
  if (target) return;
  byteAt(value, 3);
  target = value[0] + 0x100U * value[1] + 0x10000U * value[2] + 0x1000000U * value[3];
  if (isSerial && *target == 0) {
    expected_.log("Erreur à l'init du Fenwix");
    expected_.exit();
  }
  identificationEvent();
}

// Follows each number that is stored and each answer to the subscription, refusals included. The
// identification is sent whenever known numbers and confirmations are six in all.
void Fenwix::identificationEvent() {
  std::string text = "C;5;0;";
  std::size_t known = 0;
  for (const Number& number : {serial_, modele_, firmware_, hardware_, systid_}) {
    if (!number) continue;
    ++known;
    text += std::to_string(*number) + ";";
  }
  if (known + confirmations_ != 6) return;
  if (known < 5) expected_.hardStop();
  expected_.message(text);
}

void Fenwix::replyPart(const Bytes& part) {
  Bytes payload = part;
  if (missing_ == 0) {
    if (byteAt(part, 0) != 0xAA) return;
    code_ = byteAt(part, 1);
    const int length = byteAt(part, 2) + 256 * byteAt(part, 3);
    received_.clear();
    payload.erase(payload.begin(), payload.begin() + 4);
    if (length == 0) {
      if (!payload.empty()) expected_.hardStop();
      replyComplete();
      return;
    }
    missing_ = length;
  }
  for (const int byte : payload) {
    if (missing_ == 0) break;
    received_ += static_cast<char>(byte);
    --missing_;
  }
  if (missing_ == 0) replyComplete();
}

void Fenwix::replyComplete() {
  if (code_ != 19) return;
  if (!scalars(received_)) expected_.hardStop();
  expected_.message("PJSON;" + received_ + ";");
}

}  // namespace

const Family fenwix{
    .name = "fenwix",
    .beginnings = {"nomsuel"},
    .parts = {{serviceFenwix, characRms, false, true, 4},
              {serviceFenwix, characRms2, false, true, 4},
              {serviceFenwix, characRaw, false, false, 20},
              {serviceFenwix, characRaw2, false, false, 20},
              {serviceBatt, characBatt, true, true, 1},
              {serviceBatt, characBattHealth, true, false, 1},
              {serviceConfig, characCommand, false, true, 4},
              {serviceInfo, characModele, true, false, 4},
              {serviceInfo, characFirmware, true, false, 4},
              {serviceInfo, characHardware, true, false, 4},
              {serviceInfo, characSerial, true, false, 4},
              {serviceInfo, characSystid, true, false, 4}},
    .models = {{"fenwix", "Nomsuel", {serviceFenwix, serviceBatt, serviceInfo, serviceConfig}}},
    .make = make<Fenwix>,
    .logsUnknownServices = true,
};

}  // namespace oracle
