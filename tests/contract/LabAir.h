// Two devices on controllers of this machine, hci1 and hci2. They exist for as long as the program
// runs, since taking a controller from bluetoothd and giving it back takes seconds; each test lends
// them its models.
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

// The model that stays on a controller and passes everything on to the current test's model.
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
  // Throws when a controller cannot be opened.
  LabAir();
  LabAir(const LabAir&) = delete;
  LabAir& operator=(const LabAir&) = delete;
  ~LabAir();

  // To be called on the test's thread. They have taken effect when they return.
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
