// The model of a device's handler. What it does goes into the given Expected. The handlers of the
// families differ in what they do with values.
#pragma once

#include <map>
#include <memory>

#include "tests/oracle/Expected.h"
#include "tests/oracle/Families.h"

namespace oracle {

class Handler {
 public:
  Handler(Expected& expected, Device device, const Family& family)
      : expected_(expected), device_(std::move(device)), family_(family) {}
  virtual ~Handler() = default;
  virtual std::unique_ptr<Handler> copy() const = 0;

  virtual const Model& model() const { return family_.models.front(); }
  virtual void valueUpdated(std::string_view uuid, const std::optional<Bytes>& value) = 0;
  virtual void notificationStateUpdated(std::string_view, const std::optional<Failure>&) {}

  void servicesDiscovered(const Discovery& discovery);
  void characteristicsDiscovered(const Service& service);

  // What the host's commands do with a characteristic: a hard stop unless it was discovered.
  void write(std::string_view uuid, const Bytes& bytes);
  void notify(std::string_view uuid, bool enabled);

  void renamed(const std::optional<std::string>& name) { device_.name = name; }
  const Device& device() const { return device_; }

 protected:
  int byteAt(const std::optional<Bytes>& value, std::size_t index) {
    return oracle::byteAt(expected_, value, index);
  }

  Expected& expected_;
  Device device_;

 private:
  const Characteristic& found(std::string_view uuid);
  void requestIn(const Service& service);

  const Family& family_;
  std::map<std::string_view, Characteristic> found_;  // the latest of each
};

// For Family::make.
template <class OneFamilys>
std::unique_ptr<Handler> make(Expected& expected, const Device& device) {
  return std::make_unique<OneFamilys>(expected, device);
}

}  // namespace oracle
