// Compares the core with the oracle on random values.
//   --values=N   N values per characteristic and N/10 of each of the longer plays; default 20000
//   --seed=N     repeats a run; the default is a new seed each time
#include <gtest/gtest.h>

#include <cstdlib>
#include <iostream>
#include <random>
#include <string_view>

#include "tests/oracle/Draw.h"

namespace {

bool take(std::string_view argument, std::string_view name, std::uint64_t& number) {
  if (!argument.starts_with(name)) return false;
  number = std::strtoull(argument.substr(name.size()).data(), nullptr, 10);
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  oracle::Run& run = oracle::theRun();
  run.seed = std::random_device()();
  for (int i = 1; i < argc; ++i) {
    if (take(argv[i], "--values=", run.values) || take(argv[i], "--seed=", run.seed)) continue;
    std::cerr << "unknown argument: " << argv[i] << '\n';
    return 2;
  }
  if (!testing::GTEST_FLAG(list_tests)) {
    std::cout << "--values=" << run.values << " --seed=" << run.seed << '\n';
  }
  return RUN_ALL_TESTS();
}
