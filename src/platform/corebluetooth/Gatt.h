// The services and characteristics that discovery finds, each for as long as its peripheral lives.
#pragma once

#import <CoreBluetooth/CoreBluetooth.h>

#include <deque>
#include <optional>
#include <utility>
#include <vector>

#include "platform/Platform.h"
#include "platform/corebluetooth/Convert.h"
#include "platform/corebluetooth/Retained.h"

namespace platform::corebluetooth {

class Characteristic final : public CBCharacteristic {
 public:
  explicit Characteristic(::CBCharacteristic* native)
      : CBCharacteristic(identifierOf([native UUID])), native_(native) {}

  ::CBCharacteristic* native() const { return native_.get(); }
  void setValue(std::optional<Value> value) { value_ = value; }

 private:
  Retained<::CBCharacteristic*> native_;
};

class Service final : public CBService {
 public:
  explicit Service(::CBService* native) : CBService(identifierOf([native UUID])), native_(native) {}

  ::CBService* native() const { return native_.get(); }
  void setCharacteristics(std::optional<std::vector<CBCharacteristic*>> found) {
    characteristics_ = std::move(found);
  }

  // The discoveries of characteristics that the framework has not answered, with what each looks
  // for.
  std::deque<std::vector<CBUUID>> asked;

 private:
  Retained<::CBService*> native_;
};

}  // namespace platform::corebluetooth
