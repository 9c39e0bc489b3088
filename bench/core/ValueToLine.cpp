// Measures one value from the platform's callback to the line in the host's pipe, for every kind of
// message, beside the floor, which is the bare write of the same bytes into the same pipe, and
// beside the same bytes written to the unbuffered C stream, which every line has to pass. Compare
// them within one run. Only the writing is timed; the pipe is emptied between the measurements.
//
//   bench-core [--benchmark_...]
//   bench-core --deliver KIND COUNT     only delivers COUNT values (for bench/core/instructions)
//   bench-core --kinds                  lists the kinds
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <type_traits>
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

constexpr int kBatch = 200;  // values per reading of the clock

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

// A handler, and a value for it.
template <class Handler>
class Scene {
 public:
  Scene(const CBUUID& uuid, platform::Value value) : characteristic_(uuid, value) {
    if constexpr (std::is_same_v<Handler, ComFenwix>) handler_.healthBatt = 1;
  }

  void deliver() { handler_.peripheralDidUpdateValueFor(device_, characteristic_, nullptr); }

 private:
  Device device_;
  Handler handler_{std::shared_ptr<platform::CBPeripheral>(&device_, [](auto*) {})};
  Characteristic characteristic_;
};

// CPU time of the calling thread, so that other programs on the machine do not count.
double cpuSeconds() {
  timespec now{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

// The lines, each with its line feed.
std::vector<std::string> linesOf(const std::string& output) {
  std::vector<std::string> lines;
  for (std::size_t begin = 0, end = 0; begin < output.size(); begin = end) {
    end = output.find('\n', begin) + 1;
    lines.push_back(output.substr(begin, end - begin));
  }
  return lines;
}

template <class Operation>
double timed(Operation operation) {
  const double start = cpuSeconds();
  for (int i = 0; i < kBatch; ++i) operation();
  return cpuSeconds() - start;
}

// Measures batches of values, of bare writes and of writes to the stream in turn, so that all run
// under the same conditions. The time reported is that of a value, "floor" that of a bare write,
// "ratio" the first divided by the second, "stream" the stream's divided by the floor.
template <class Handler>
void valueToLine(benchmark::State& state, CBUUID uuid, Bytes bytes) {
  OutputPipe pipe;
  Scene<Handler> scene(uuid, bytes);
  const auto deliver = [&scene] { scene.deliver(); };
  deliver();
  pipe.take();  // a probe writes one line more with its first value
  deliver();
  const std::vector<std::string> lines = linesOf(pipe.take());
  const auto bareWrite = [&lines] {
    for (const std::string& line : lines) {
      benchmark::DoNotOptimize(write(STDOUT_FILENO, line.data(), line.size()));
    }
  };
  const auto bareStream = [&lines] {
    for (const std::string& line : lines) std::fwrite(line.data(), 1, line.size(), stdout);
  };

  double values = 0;
  double floor = 0;
  double stream = 0;
  std::uint64_t allocated = 0;
  for (auto unused : state) {
    static_cast<void>(unused);
    const auto before = allocations;
    const double time = timed(deliver);
    allocated += allocations - before;
    pipe.take();
    floor += timed(bareWrite);
    pipe.take();
    stream += timed(bareStream);
    pipe.take();
    values += time;
    state.SetIterationTime(time);
  }
  const auto count = static_cast<double>(state.iterations()) * kBatch;
  state.counters["value_ns"] = values / count * 1e9;
  state.counters["floor_ns"] = floor / count * 1e9;
  state.counters["ratio"] = values / floor;
  state.counters["stream"] = stream / floor;
  state.counters["allocations"] = static_cast<double>(allocated) / count;
}

const Bytes kMotion{0x01, 0x00, 0xFF, 0xFF, 0x34, 0x12, 0xF4, 0xFF, 0x00,
                    0x00, 0xE8, 0x03, 0x7F, 0xFF, 0x00, 0x80, 0xFF, 0x7F};

// Calls visit for each kind of message: its handler's type, its name, the characteristic, a value.
template <class Visitor>
void forEachKind(Visitor visit) {
  const std::type_identity<ComTramsel> tramsel;
  const std::type_identity<ComSonde> probe;
  const std::type_identity<ComCorvelta> corvelta;
  const std::type_identity<ComFenwix> fenwix;
  visit(tramsel, "B; motion", charac_tramsel, kMotion);
  visit(probe, "S; Ilo", charac_ilo, Bytes{0, 0, 0x34, 0x12, 0, 0, 0, 0, 0, 0, 0, 0, 0x50});
  visit(probe, "S; Tenoval", charac_tenoval, Bytes{0x12, 0x34, 0x00, 0x0A});
  visit(corvelta, "C;4; battery", charac_batt, Bytes{87});
  visit(corvelta, "V; and its log", charac_corvelta_secteur, Bytes{1});
  visit(corvelta, "K;NC;", charac_corvelta_new_calibration, Bytes{7});
  visit(corvelta, "K;EC;", charac_corvelta_erreur_calibration, Bytes{3});
  visit(corvelta, "K;MC;", charac_corvelta_contractions, Bytes{1, 2, 3, 4, 5, 6});
  visit(fenwix, "P1; RMS", charac_fenwix_rms, Bytes{0xCD, 0xCC, 0xCC, 0x3D});
  visit(fenwix, "P0; battery", charac_batt, Bytes{87});
  visit(fenwix, "PR1; 20 bytes", charac_fenwix_raw, Bytes(20, 0x5A));
  visit(fenwix, "PR1; 244 bytes", charac_fenwix_raw, Bytes(244, 0x5A));
  visit(fenwix, "PR1; 512 bytes", charac_fenwix_raw, Bytes(512, 0x5A));
  visit(fenwix, "PJSON;", charac_fenwix_command, Bytes{0xAA, 19, 3, 0, '[', '1', ']'});
}

void measureAll() {
  forEachKind([]<class Handler>(std::type_identity<Handler>, const char* name, const CBUUID& uuid,
                                const Bytes& bytes) {
    benchmark::RegisterBenchmark(name, valueToLine<Handler>, uuid, bytes)->UseManualTime();
  });
  benchmark::RunSpecifiedBenchmarks();
}

bool deliverMany(std::string_view kind, long count) {
  bool isKnown = false;
  forEachKind([&]<class Handler>(std::type_identity<Handler>, const char* name, const CBUUID& uuid,
                                 const Bytes& bytes) {
    if (kind != name) return;
    isKnown = true;
    Scene<Handler> scene(uuid, bytes);
    for (long i = 0; i < count; ++i) scene.deliver();
  });
  return isKnown;
}

void printKinds() {
  forEachKind([](auto, const char* name, const CBUUID&, const Bytes&) { std::puts(name); });
}

}  // namespace

int main(int argc, char** argv) {
  std::setbuf(stdout, nullptr);
  const std::string_view mode = argc > 1 ? argv[1] : "";
  if (mode == "--kinds") {
    printKinds();
  } else if (mode == "--deliver" && argc == 4) {
    return deliverMany(argv[2], std::strtol(argv[3], nullptr, 10)) ? 0 : 2;
  } else {
    benchmark::Initialize(&argc, argv);
    measureAll();
  }
}
