#include "tests/unit/core/support/Endings.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>

#include "Bytes.h"
#include "EndProcess.h"
#include "Precondition.h"
#include "Utils.h"

namespace unit {
namespace {

class DeliberateEnd : public testing::Test {
 protected:
  Journal journal;
};

TEST_F(DeliberateEnd, HasStatus0AndWritesNothing) {
  expectEnd(journal, [] { endProcess(); }, {});
}

TEST_F(DeliberateEnd, RunsNoExitHandler) {
  static Journal* seen = nullptr;
  seen = &journal;
  expectEnd(journal,
            [] {
              std::atexit([] { seen->add("an exit handler ran"); });
              endProcess();
            },
            {});
}

TEST_F(DeliberateEnd, RunsNoDestructor) {
  struct Loud {
    ~Loud() { journal.add("a destructor ran"); }
    Journal& journal;
  };
  expectEnd(journal,
            [this] {
              const Loud loud{journal};
              endProcess();
            },
            {});
}

// A line that another thread is writing is written whole: the last byte is a line feed.
TEST_F(DeliberateEnd, LeavesWholeLinesBehindBesideAThreadThatWrites) {
  const std::string payload(3000, 'x');
  for (int i = 0; i < 20; ++i) {
    journal.clear();
    EXPECT_EXIT(
        {
          std::atomic<int> lines = 0;
          std::thread writer([&] {
            for (;;) {
              sendQuelmar(payload);
              ++lines;
            }
          });
          while (lines < 3) std::this_thread::yield();
          endProcess();
        },
        testing::ExitedWithCode(EXIT_SUCCESS), testing::Eq(""));
    for (const std::string& entry : journal.entries()) ASSERT_EQ(entry, message(payload));
  }
}

class PreconditionFailure : public testing::Test {
 protected:
  Journal journal;
};

TEST_F(PreconditionFailure, IsAnAbortThatWritesNothing) {
  expectAbort(journal, [] { preconditionFailure(); });
}

TEST_F(PreconditionFailure, FollowsARequirementThatDoesNotHold) {
  expectAbort(journal, [] { require(false); });
}

TEST_F(PreconditionFailure, DoesNotFollowARequirementThatHolds) {
  require(true);
  EXPECT_EQ(journal.entries(), Entries{});
}

TEST_F(PreconditionFailure, RunsNoExitHandler) {
  static Journal* seen = nullptr;
  seen = &journal;
  expectAbort(journal, [] {
    std::atexit([] { seen->add("an exit handler ran"); });
    preconditionFailure();
  });
}

TEST_F(PreconditionFailure, FollowsAByteReadBeyondTheEndOfAValue) {
  const std::uint8_t bytes[] = {7, 8};
  EXPECT_EQ(byteAt(bytes, 0), 7);
  EXPECT_EQ(byteAt(bytes, 1), 8);
  expectAbort(journal, [&] { byteAt(bytes, 2); });
  expectAbort(journal, [&] { byteAt(bytes, static_cast<std::size_t>(-1)); });
  expectAbort(journal, [] { byteAt({}, 0); });
}

TEST_F(PreconditionFailure, FollowsANumberReadBeyondTheEndOfAValue) {
  const std::uint8_t bytes[] = {1, 2, 3, 4};
  EXPECT_EQ(littleEndian<2>(bytes, 2), 0x0403);
  EXPECT_EQ(bigEndian<2>(bytes, 2), 0x0304);
  EXPECT_EQ(littleEndian<3>(bytes, 1), 0x040302U);
  EXPECT_EQ(littleEndian<4>(bytes, 0), 0x04030201U);
  expectAbort(journal, [&] { littleEndian<2>(bytes, 3); });
  expectAbort(journal, [&] { bigEndian<2>(bytes, 3); });
  expectAbort(journal, [&] { littleEndian<4>(bytes, 1); });
  expectAbort(journal, [&] { littleEndian<2>(bytes, static_cast<std::size_t>(-1)); });
  expectAbort(journal, [] { bigEndian<2>({}, 0); });
}

}  // namespace
}  // namespace unit
