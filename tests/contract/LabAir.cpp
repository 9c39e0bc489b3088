#include "contract/LabAir.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <cstring>
#include <stdexcept>

namespace contract {
namespace {

using Clock = lab::Peripheral::Clock;

lab::HciChannel open(int controller) {
  int error = 0;
  auto channel = lab::HciChannel::openWhenFree(controller, error);
  if (channel) return std::move(*channel);
  throw std::runtime_error("hci" + std::to_string(controller) + ": " + std::strerror(error));
}

}  // namespace

void BorrowedModel::connected(lab::Link& link) {
  if (model_ != nullptr) model_->connected(link);
}

void BorrowedModel::disconnected() {
  if (model_ != nullptr) model_->disconnected();
}

lab::ReadResult BorrowedModel::read(lab::CharacteristicIndex characteristic) {
  if (model_ == nullptr) return lab::AttError::unlikely;
  return model_->read(characteristic);
}

lab::AttError BorrowedModel::write(lab::CharacteristicIndex characteristic,
                                   std::span<const std::uint8_t> value) {
  return model_ != nullptr ? model_->write(characteristic, value) : lab::AttError::unlikely;
}

lab::AttError BorrowedModel::subscribe(lab::CharacteristicIndex characteristic, bool enabled) {
  return model_ != nullptr ? model_->subscribe(characteristic, enabled) : lab::AttError::unlikely;
}

std::optional<lab::Microseconds> BorrowedModel::advance(lab::Microseconds now) {
  if (model_ == nullptr) return std::nullopt;
  return model_->advance(now);
}

struct LabAir::Seat {
  class Silent final : public lab::PeripheralObserver {
   public:
    void didStart(const std::string& address) override { address_ = address; }
    void didFail(const std::string& reason) override { throw std::runtime_error(reason); }
    void didAdvertise() override {}
    void didConnect() override {}
    void didDisconnect(std::uint8_t) override {}
    void didTurnAway() override {}
    void didSend(const lab::Uuid&, std::span<const std::uint8_t>) override {}
    void didRead(const lab::Uuid&) override {}
    void didWrite(const lab::Uuid&, std::span<const std::uint8_t>) override {}
    void didSubscribe(const lab::Uuid&, bool) override {}
    void didRefuse(const std::string&) override {}

    const std::string& address() const { return address_; }

   private:
    std::string address_;
  };

  explicit Seat(int controller) : peripheral(open(controller), model, observer) {}

  BorrowedModel model;
  Silent observer;
  lab::Peripheral peripheral;
};

LabAir::LabAir()
    : seats_{std::make_unique<Seat>(1), std::make_unique<Seat>(2)},
      wakeUp_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
  for (const auto& seat : seats_) {
    while (seat->observer.address().empty()) {
      seat->peripheral.runUntil(Clock::now() + std::chrono::milliseconds(20));
    }
    seat->peripheral.control("vanish");
  }
  thread_ = std::thread([this] { serve(); });
}

LabAir::~LabAir() {
  run([this] { isEnding_ = true; });
  thread_.join();
  ::close(wakeUp_);
}

void LabAir::serve() {
  while (!isEnding_) {
    pollfd wanted[]{{wakeUp_, POLLIN, 0}, {}, {}};
    auto wake = Clock::now() + std::chrono::hours(1);
    for (std::size_t i = 0; i < seats_.size(); ++i) {
      lab::Peripheral& peripheral = seats_[i]->peripheral;
      wanted[i + 1] = {peripheral.fileDescriptor(), peripheral.events(), 0};
      wake = std::min(wake, peripheral.deadline().value_or(wake));
    }
    const auto wait = std::chrono::ceil<std::chrono::milliseconds>(wake - Clock::now()).count();
    ::poll(wanted, 3, wait > 0 ? static_cast<int>(wait) : 0);

    std::unique_lock lock(mutex_);
    if (action_ != nullptr) (*action_)();
    for (const auto& seat : seats_) seat->peripheral.serve();
    std::uint64_t count;
    if (::read(wakeUp_, &count, sizeof count) < 0) continue;
    action_ = nullptr;
    changed_.notify_all();
  }
}

void LabAir::run(const std::function<void()>& action) {
  std::unique_lock lock(mutex_);
  action_ = &action;
  const std::uint64_t one = 1;
  if (::write(wakeUp_, &one, sizeof one) < 0) throw std::runtime_error("eventfd");
  changed_.wait(lock, [this] { return action_ == nullptr; });
}

LabAir::Seat& LabAir::seatOf(const ContractDevice* model) {
  for (const auto& seat : seats_) {
    if (seat->model.model() == model) return *seat;
  }
  throw std::logic_error("no controller for this device");
}

void LabAir::lend(ContractDevice& model) {
  run([&] {
    Seat& seat = seatOf(nullptr);
    seat.model.setModel(&model);
    seat.peripheral.control("advertise on");
  });
}

void LabAir::control(ContractDevice& model, const char* line) {
  run([&] { seatOf(&model).peripheral.control(line); });
}

void LabAir::takeBackAll() {
  run([&] {
    for (const auto& seat : seats_) {
      if (seat->model.model() == nullptr) continue;
      seat->peripheral.control("fault clear");
      seat->peripheral.control("vanish");
      seat->model.setModel(nullptr);
    }
  });
}

}  // namespace contract
