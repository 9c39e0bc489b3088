// What one value costs from the platform's callback to the line in the host's pipe, for every kind
// of message, next to the floor: the bare write of the same bytes into the same pipe. Compare the
// two within one run; only the writing is timed, the pipe is emptied outside the clock.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "ComCorvelta.h"
#include "ComFenwix.h"
#include "ComSonde.h"
#include "ComTramsel.h"
#include "GattIdentifiers.h"
#include "OutputPipe.h"

namespace {

std::uint64_t allocations = 0;  // made by operator new in the whole program, on one thread

}  // namespace

void* operator new(std::size_t size) {
  ++allocations;
  if (void* memory = std::malloc(size)) return memory;
  std::abort();
}
void operator delete(void* memory) noexcept {
  std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
  std::free(memory);
}

namespace {

using platform::CBUUID;
using Bytes = std::vector<std::uint8_t>;

constexpr int kBatch = 200;  // values between two looks at the clock

class Device final : public platform::CBPeripheral {
 public:
  std::optional<std::string> name() const override { return "Ilo"; }
  void setDelegate(platform::CBPeripheralDelegate*) override {}
  const std::vector<platform::CBService*>* services() const override { return nullptr; }
  void discoverServices(std::span<const CBUUID>) override {}
  void discoverCharacteristics(std::span<const CBUUID>, platform::CBService&) override {}
  void setNotifyValue(bool, platform::CBCharacteristic&) override {}
  void readValue(platform::CBCharacteristic&) override {}
  void writeValue(platform::Value, platform::CBCharacteristic&,
                  platform::CBCharacteristicWriteType) override {}
};

class Characteristic final : public platform::CBCharacteristic {
 public:
  Characteristic(const CBUUID& uuid, platform::Value value) : CBCharacteristic(uuid) {
    value_ = value;
  }
};

// The calling thread's own time: what else runs on the machine does not count.
double cpuSeconds() {
  timespec now{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

template <class Operation>
double timed(Operation operation) {
  const double start = cpuSeconds();
  for (int i = 0; i < kBatch; ++i) operation();
  return cpuSeconds() - start;
}

// Batches of values and of bare writes in turn, so that both see the same machine. The time
// reported is the value's; "floor" is the write's, "ratio" the one over the other.
template <class Handler>
void valueToLine(benchmark::State& state, CBUUID uuid, Bytes bytes) {
  OutputPipe pipe;
  std::setbuf(stdout, nullptr);
  Device device;
  Handler handler{std::shared_ptr<platform::CBPeripheral>(&device, [](auto*) {})};
  Characteristic characteristic(uuid, bytes);
  const auto deliver = [&] {
    handler.peripheralDidUpdateValueFor(device, characteristic, nullptr);
  };
  if constexpr (std::is_same_v<Handler, ComFenwix>) handler.healthBatt = 1;
  deliver();
  const std::string all = pipe.take();
  const std::string line = all.substr(all.rfind('<'));
  const auto bareWrite = [&line] {
    benchmark::DoNotOptimize(write(STDOUT_FILENO, line.data(), line.size()));
  };

  double values = 0;
  double floor = 0;
  std::uint64_t allocated = 0;
  for (auto unused : state) {
    static_cast<void>(unused);
    const auto before = allocations;
    const double time = timed(deliver);
    allocated += allocations - before;
    pipe.take();
    floor += timed(bareWrite);
    pipe.take();
    values += time;
    state.SetIterationTime(time);
  }
  const auto count = static_cast<double>(state.iterations()) * kBatch;
  state.counters["value_ns"] = values / count * 1e9;
  state.counters["floor_ns"] = floor / count * 1e9;
  state.counters["ratio"] = values / floor;
  state.counters["allocations"] = static_cast<double>(allocated) / count;
}

const Bytes kMotion{0x01, 0x00, 0xFF, 0xFF, 0x34, 0x12, 0xF4, 0xFF, 0x00,
                    0x00, 0xE8, 0x03, 0x7F, 0xFF, 0x00, 0x80, 0xFF, 0x7F};

template <class Handler>
void measure(const char* name, const CBUUID& uuid, const Bytes& bytes) {
  benchmark::RegisterBenchmark(name, valueToLine<Handler>, uuid, bytes)->UseManualTime();
}

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  measure<ComTramsel>("B; motion", charac_tramsel, kMotion);
  measure<ComSonde>("S; Ilo", charac_ilo, {0, 0, 0x34, 0x12, 0, 0, 0, 0, 0, 0, 0, 0, 0x50});
  measure<ComSonde>("S; Tenoval", charac_tenoval, {0x12, 0x34, 0x00, 0x0A});
  measure<ComCorvelta>("C;4; battery", charac_batt, {87});
  measure<ComCorvelta>("K;NC;", charac_corvelta_new_calibration, {7});
  measure<ComCorvelta>("K;EC;", charac_corvelta_erreur_calibration, {3});
  measure<ComCorvelta>("K;MC;", charac_corvelta_contractions, {1, 2, 3, 4, 5, 6});
  measure<ComFenwix>("P1; RMS", charac_fenwix_rms, {0xCD, 0xCC, 0xCC, 0x3D});
  measure<ComFenwix>("P0; battery", charac_batt, {87});
  measure<ComFenwix>("PR1; 20 bytes", charac_fenwix_raw, Bytes(20, 0x5A));
  measure<ComFenwix>("PR1; 244 bytes", charac_fenwix_raw, Bytes(244, 0x5A));
  measure<ComFenwix>("PR1; 512 bytes", charac_fenwix_raw, Bytes(512, 0x5A));
  measure<ComFenwix>("PJSON;", charac_fenwix_command, {0xAA, 19, 3, 0, '[', '1', ']'});
  benchmark::RunSpecifiedBenchmarks();
}
