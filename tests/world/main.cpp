// Plays sessions of the bridge in a world of its own, judges them, and makes those that fail short.
//   world --seed N          one session, printed
//   world --count N         so many, on all processors; --from N: the first seed
//   world --minutes M       for so long, from a seed that is the time's
//   world --strangers N     one session in which so many devices pass, and leave nothing behind
//   world --stall SECONDS   one in which the host does not read for so long, while 1 MiB comes a
//                           second
//   --failures N            each process gives up after so many (20)
// It prints the seeds that fail, and ends with 1 when there are any.
#include <sys/mman.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <set>
#include <string>
#include <vector>

#include "tests/world/World.h"

namespace {

using world::Plan;
using world::takenNow;
using world::World;

struct Options {
  std::uint64_t from = 1;
  std::uint64_t count = 0;
  double minutes = 0;
  std::size_t strangers = 0;
  int stall = 0;
  int failures = 20;
  bool isOne = false;
};

constexpr int kRepetitions = 4;
constexpr int kLongestSession = 60;  // seconds of the processor, after which it hangs

FILE* report = nullptr;  // where the program prints: standard output is the bridge's

// Starts the program anew if its allocator keeps memory at hand that it counts as in use.
void countMemoryExactly(char** argv) {
  constexpr const char* kName = "GLIBC_TUNABLES";
  constexpr const char* kNothingAtHand = "glibc.malloc.tcache_count=0:glibc.malloc.mxfast=0";
  const char* set = std::getenv(kName);  // NOLINT(concurrency-mt-unsafe)
  if (set != nullptr && std::strcmp(set, kNothingAtHand) == 0) return;
  setenv(kName, kNothingAtHand, 1);  // NOLINT(concurrency-mt-unsafe)
  execv("/proc/self/exe", argv);
}

// isWhole: nothing has stayed behind that does so in no process.
std::string playOnce(const Plan& plan, const std::set<std::size_t>& left, World::Print print,
                     bool& isWhole) {
  const auto opened = world::openForGood();
  const int before = takenNow().descriptors;
  try {
    {
      World session(plan, left, std::move(print));
      session.play();
      isWhole = !session.hasLeftCallback();
    }
    if (isWhole && takenNow().descriptors != before) return "descriptors were left open";
    return {};
  } catch (const std::exception& wrong) {
    return wrong.what();
  }
}

// What is wrong with the session; nothing is. Some memory is taken once and for all: what is not
// given back is so each time.
std::string play(const Plan& plan, const std::set<std::size_t>& left, World::Print print = {}) {
  for (int times = 0; times < kRepetitions; ++times) {
    bool isWhole = false;
    const std::size_t before = takenNow().memory;
    {
      const std::string wrong = playOnce(plan, left, times == 0 ? print : World::Print(), isWhole);
      if (!wrong.empty()) return wrong;
    }
    if (!isWhole || takenNow().memory <= before) return {};
  }
  return "memory was not given back";
}

// Leaves out one incident after the other, as long as something is still wrong.
std::set<std::size_t> shorten(const Plan& plan) {
  std::set<std::size_t> left;
  for (bool isShorter = true; isShorter;) {
    isShorter = false;
    for (std::size_t i = 0; i < plan.incidents.size(); ++i) {
      if (left.contains(i)) continue;
      left.insert(i);
      if (play(plan, left).empty()) {
        left.erase(i);
      } else {
        isShorter = true;
      }
    }
  }
  return left;
}

bool show(const Plan& plan) {
  std::string wrong = play(plan, {});
  std::set<std::size_t> left;
  if (!wrong.empty()) left = shorten(plan);
  std::fprintf(report, "seed %llu%s\n", static_cast<unsigned long long>(plan.seed),
               left.empty() ? "" : ", made shorter");
  wrong =
      play(plan, left, [](const std::string& line) { std::fprintf(report, "%s\n", line.c_str()); });
  if (!wrong.empty()) std::fprintf(report, "WRONG: %s\n", wrong.c_str());
  return wrong.empty();
}

// Once and without a word, as a long one takes its time.
bool pass(const Plan& plan) {
  bool isWhole = false;
  const std::string wrong = playOnce(plan, {}, {}, isWhole);
  if (!wrong.empty()) std::fprintf(report, "WRONG: %s\n", wrong.c_str());
  return wrong.empty();
}

// Ends the process when it has computed for so long: on a busy machine it may wait much longer.
void endAfter(int seconds) {
  itimerval limit{};
  limit.it_value.tv_sec = seconds;
  setitimer(ITIMER_PROF, &limit, nullptr);
}

// Every so manieth seed, until the count or the time is over. The number of those that failed.
// current: where others see what it is at.
int explore(const Options& options, std::uint64_t first, std::uint64_t stride,
            std::uint64_t& current) {
  using Clock = std::chrono::steady_clock;
  const Clock::time_point end =
      Clock::now() + std::chrono::duration_cast<Clock::duration>(
                         std::chrono::duration<double>(options.minutes * 60));
  int failures = 0;
  std::uint64_t played = 0;
  for (std::uint64_t i = first; options.count == 0 || i < options.count; i += stride) {
    if (options.count == 0 && Clock::now() > end) break;
    const std::uint64_t seed = options.from + i;
    current = seed;
    endAfter(kLongestSession);
    const Plan plan(seed);
    const std::string wrong = play(plan, {});
    ++played;
    if (wrong.empty()) continue;
    ++failures;
    std::fprintf(report, "seed %llu: %s\n", static_cast<unsigned long long>(seed), wrong.c_str());
    std::fflush(report);
    if (failures >= options.failures) break;
  }
  std::fprintf(report, "%llu sessions\n", static_cast<unsigned long long>(played));
  std::fflush(report);
  return failures;
}

int exploreOnAll(const Options& options) {
  const auto processors = static_cast<std::size_t>(sysconf(_SC_NPROCESSORS_ONLN));
  const std::size_t size = processors * sizeof(std::uint64_t);
  void* shared = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (shared == MAP_FAILED) return 1;
  auto* current = static_cast<std::uint64_t*>(shared);
  std::vector<pid_t> children;
  std::fflush(report);
  for (std::size_t i = 0; i < processors; ++i) {
    const pid_t child = fork();
    if (child == 0) _exit(explore(options, i, processors, current[i]) > 0 ? 1 : 0);
    children.push_back(child);
  }
  int result = 0;
  for (std::size_t i = 0; i < children.size(); ++i) {
    int status = 0;
    waitpid(children[i], &status, 0);
    if (WIFSIGNALED(status)) {
      std::fprintf(report, "seed %llu: ended by signal %d\n",
                   static_cast<unsigned long long>(current[i]), WTERMSIG(status));
    }
    if (status != 0) result = 1;
  }
  munmap(shared, size);
  return result;
}

}  // namespace

int main(int argc, char** argv) {
  countMemoryExactly(argv);
  Options options;
  for (int i = 1; i + 1 < argc; i += 2) {
    const std::string name = argv[i];
    if (name == "--seed") options.isOne = true;
    if (name == "--seed" || name == "--from")
      options.from = std::strtoull(argv[i + 1], nullptr, 10);
    if (name == "--count") options.count = std::strtoull(argv[i + 1], nullptr, 10);
    if (name == "--strangers") options.strangers = std::strtoul(argv[i + 1], nullptr, 10);
    if (name == "--stall") options.stall = std::atoi(argv[i + 1]);
    if (name == "--failures") options.failures = std::atoi(argv[i + 1]);
    if (name == "--minutes") options.minutes = std::strtod(argv[i + 1], nullptr);
  }
  const bool isSpecial = options.strangers > 0 || options.stall > 0;
  if (!options.isOne && !isSpecial && options.count == 0 && options.minutes == 0) {
    std::fputs("world --seed N | --count N [--from N] | --minutes M | --strangers N | --stall S\n",
               stderr);
    return 2;
  }
  report = fdopen(dup(STDOUT_FILENO), "w");
  if (options.minutes > 0 && options.from == 1) {
    options.from = static_cast<std::uint64_t>(std::time(nullptr)) << 20;
  }
  if (options.stall > 0) return pass(Plan::ofStall(std::chrono::seconds(options.stall))) ? 0 : 1;
  if (options.strangers > 0) return show(Plan::ofStrangers(options.strangers)) ? 0 : 1;
  return options.isOne ? (show(Plan(options.from)) ? 0 : 1) : exploreOnAll(options);
}
