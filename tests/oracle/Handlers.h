// The four device handlers as models: what is done with what a device reports. Whatever they do is
// entered in the given Expected.
#pragma once

#include "tests/oracle/Expected.h"

namespace oracle {

class Handler {
 public:
  Handler(Expected& expected, Device device) : expected_(expected), device_(std::move(device)) {}
  virtual ~Handler() = default;

  virtual void servicesDiscovered(const Discovery& discovery) = 0;
  virtual void characteristicsDiscovered(const Service& service) = 0;
  virtual void valueUpdated(std::string_view uuid, const std::optional<Bytes>& value) = 0;
  virtual void notificationStateUpdated(std::string_view, const std::optional<Failure>&) {}

  void renamed(const std::optional<std::string>& name) { device_.name = name; }
  const Device& device() const { return device_; }

 protected:
  int byteAt(const std::optional<Bytes>& value, std::size_t index) {
    return oracle::byteAt(expected_, value, index);
  }

  Expected& expected_;
  Device device_;
};

class Tramsel final : public Handler {
 public:
  Tramsel(Expected& expected, const Device& device);
  void servicesDiscovered(const Discovery& discovery) override;
  void characteristicsDiscovered(const Service& service) override;
  void valueUpdated(std::string_view uuid, const std::optional<Bytes>& value) override;

 private:
  int battery_ = -1;
};

class Sonde final : public Handler {
 public:
  Sonde(Expected& expected, const Device& device);
  void servicesDiscovered(const Discovery& discovery) override;
  void characteristicsDiscovered(const Service& service) override;
  void valueUpdated(std::string_view uuid, const std::optional<Bytes>& value) override;
  bool isIlo() const { return isIlo_; }

 private:
  bool isIlo_ = false;
  int battery_ = -1;
};

class Corvelta final : public Handler {
 public:
  Corvelta(Expected& expected, const Device& device);
  void servicesDiscovered(const Discovery& discovery) override;
  void characteristicsDiscovered(const Service& service) override;
  void valueUpdated(std::string_view uuid, const std::optional<Bytes>& value) override;

  std::optional<Characteristic> calibration;
  std::optional<Characteristic> acquisition;
};

class Fenwix final : public Handler {
 public:
  Fenwix(Expected& expected, const Device& device);
  void servicesDiscovered(const Discovery& discovery) override;
  void characteristicsDiscovered(const Service& service) override;
  void valueUpdated(std::string_view uuid, const std::optional<Bytes>& value) override;
  void notificationStateUpdated(std::string_view uuid,
                                const std::optional<Failure>& failure) override;
  void writeCommand(const Bytes& frame);

  std::optional<Characteristic> raw;
  std::optional<Characteristic> raw2;

 private:
  using Number = std::optional<std::uint32_t>;

  void rmsValue(const std::string& kind, const Bytes& value);
  void rawValue(const std::string& kind, const Bytes& value);
  void batteryValue(std::optional<int>& target, const Bytes& value);
  void identification(Number& target, const Bytes& value, bool isSerial);
  void identificationEvent();
  void replyPart(const Bytes& part);
  void replyComplete();

  std::optional<Characteristic> command_;
  std::optional<int> level_;
  std::optional<int> health_;
  Number serial_, modele_, firmware_, hardware_, systid_;
  std::size_t confirmations_ = 0;

  // The reply in progress: how many bytes of it are still missing, and those received.
  int missing_ = 0;
  int code_ = 0;
  std::string received_;
};

}  // namespace oracle
