// The bench of the BlueZ implementation with the lab's model of bluetoothd: one thread, simulated
// time. The same tests also run with the real bluetoothd, which shows how true the model is.
// VORNIX_BLUETOOTHD is the version that the model behaves as: 5.66 if it is not set.
#include <cstdlib>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>

#include "contract/StackBench.h"
#include "lab/bluetoothd/Bluetoothd.h"
#include "platform/bluez/BluezPlatform.h"
#include "support/AgendaClock.h"

namespace contract {
namespace {

using namespace std::chrono_literals;

constexpr char kAdapter[] = "/org/bluez/hci0";
constexpr lab::Microseconds kAdvertisingInterval = 100ms;

lab::Traits traitsOf(const std::string& version) {
  static const std::map<std::string, lab::Traits> known{
      // What older ones may do, all at once.
      {"old",
       {.offersSockets = false,
        .tellsConnected = false,
        .signalsValuesEarly = true,
        .succeedsWithoutALink = true,
        .resolvesBeforeObjects = true}},
      {"5.55", {.tellsConnectedLate = true, .forgetsAtPowerOff = false, .namesFailures = false}},
      {"5.66", {}},
      {"5.82",
       {.offersMoreSockets = true,
        .showsAccessService = true,
        .tellsPowerFirst = true,
        .forgetsFailed = true}},
  };
  return known.at(version);
}

class PlayedBench final : public StackBench, private lab::Witness {
 public:
  explicit PlayedBench(unsigned dice) : dice_(dice) {
    // NOLINTNEXTLINE(concurrency-mt-unsafe): one thread
    const char* version = std::getenv("VORNIX_BLUETOOTHD");
    bluetoothd_.traits = traitsOf(version != nullptr ? version : "5.66");
    bluetoothd_.plug(kAdapter, true);
    bluetoothd_.start();
    startPlatform();
  }

  platform::Platform& platform() override { return *platform_; }
  void restartPlatform() override {
    platform_.reset();
    bus_.hangUp();
    startPlatform();
  }

  void putOnAir(ContractDevice& model) override {
    const std::size_t number = bluetoothd_.devices().size();
    bluetoothd_.add(model, "dev_00_00_00_00_00_0" + std::to_string(number));
    appear(model);
    advertise(number);
  }
  void vanish(ContractDevice& model) override {
    remoteOf(model).isAdvertising = false;
    bluetoothd_.dropLink(remoteOf(model));
  }
  void appear(ContractDevice& model) override { remoteOf(model).isAdvertising = true; }
  void dropAtServiceDiscovery(ContractDevice& model) override {
    remoteOf(model).isLostAtServiceDiscovery = true;
  }

  void setPowered(bool powered) override { bluetoothd_.setPowered(kAdapter, powered); }

  void onDevices(const std::function<void()>& action) override {
    action();
    for (const auto& device : bluetoothd_.devices()) bluetoothd_.wake(*device);
  }

  double settlingTime() const override { return 5; }

  Traffic& traffic() override {
    bus_.onTraffic = [this](sd_bus_message* message) { traffic_.add(message); };
    return traffic_;
  }

  void stopStack() override { bluetoothd_.stop(); }
  void killStack() override { bluetoothd_.kill(); }
  void startStack() override { bluetoothd_.start(); }
  void discoverForAnother(bool isOn) override { bluetoothd_.discoverForAnother(kAdapter, isOn); }

 private:
  Fate fateOf(lab::StackDevice&, std::string_view, std::string_view) override {
    return Fate::serve;
  }

  void startPlatform() {
    platform_ = std::make_unique<platform::bluez::BluezPlatform>(
        std::make_unique<support::AgendaClock>(agenda_, bus_));
    bus_.accept();
  }

  void advertise(std::size_t number) {
    bluetoothd_.hear(*bluetoothd_.devices()[number]);
    agenda_.after(kAdvertisingInterval, [this, number] { advertise(number); });
  }

  lab::RemoteDevice& remoteOf(const ContractDevice& model) {
    for (const auto& device : bluetoothd_.devices()) {
      if (&device->model() == &model) return *device;
    }
    throw std::logic_error("the device is not on the air");
  }

  Traffic traffic_;
  lab::Agenda agenda_;
  lab::Dice dice_;
  lab::MessageBus bus_;
  lab::Bluetoothd bluetoothd_{agenda_, dice_, bus_, *this};
  std::unique_ptr<platform::Platform> platform_;
};

}  // namespace

std::unique_ptr<Bench> makeBench() {
  return std::make_unique<PlayedBench>(1);
}

std::unique_ptr<StackBench> makeStackBench(unsigned dice) {
  return std::make_unique<PlayedBench>(dice);
}

}  // namespace contract
