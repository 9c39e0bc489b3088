// Two controllers of this machine, hci1 and hci2, with a device each, for as long as the program
// runs: taking a controller from bluetoothd and giving it back takes seconds, and tests are many.
// A test lends them its models.
#pragma once

#include <array>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "contract/ContractDevice.h"
#include "lab/hci/Peripheral.h"

namespace contract {

// Stands on a controller all the time and passes everything on to the model of the test.
class BorrowedModel final : public lab::DeviceModel {
 public:
  void setModel(ContractDevice* model) { model_ = model; }
  ContractDevice* model() const { return model_; }

  std::string name() const override { return model_ ? model_->name() : ""; }
  const std::vector<lab::Service>& services() const override { return tree_.services(); }
  void connected(lab::Link& link) override;
  void disconnected() override;
  lab::ReadResult read(lab::CharacteristicIndex characteristic) override;
  lab::AttError write(lab::CharacteristicIndex characteristic,
                      std::span<const std::uint8_t> value) override;
  lab::AttError subscribe(lab::CharacteristicIndex characteristic, bool enabled) override;
  std::optional<lab::Microseconds> advance(lab::Microseconds now) override;

 private:
  ContractDevice tree_{""};
  ContractDevice* model_ = nullptr;
};

class LabAir {
 public:
  // Throws when the controllers cannot be had.
  LabAir();
  LabAir(const LabAir&) = delete;
  LabAir& operator=(const LabAir&) = delete;
  ~LabAir();

  // All from the test's thread; done, and taken effect, when they return.
  void lend(ContractDevice& model);
  void control(ContractDevice& model, const char* line);
  void takeBackAll();
  void run(const std::function<void()>& action);

 private:
  struct Seat;

  void serve();
  Seat& seatOf(const ContractDevice* model);

  std::array<std::unique_ptr<Seat>, 2> seats_;
  int wakeUp_;  // an eventfd
  std::mutex mutex_;
  std::condition_variable changed_;
  const std::function<void()>* action_ = nullptr;
  bool isEnding_ = false;
  std::thread thread_;
};

}  // namespace contract
