#include "Output.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <limits.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <future>
#include <random>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace unit {
namespace {

using namespace std::chrono_literals;

struct Ends {
  int reading;
  int writing;
};

// The capacity can be chosen only on Linux.
Ends pipeWith([[maybe_unused]] int capacity) {
  int ends[2];
  EXPECT_EQ(::pipe(ends), 0);
#ifdef F_SETPIPE_SZ
  EXPECT_EQ(::fcntl(ends[1], F_SETPIPE_SZ, capacity), capacity);
#endif
  return {ends[0], ends[1]};
}

#ifdef O_DIRECT
Ends pipeThatKeepsWritesApart() {
  const Ends ends = pipeWith(65536);
  for (const int end : {ends.reading, ends.writing}) EXPECT_EQ(::fcntl(end, F_SETFL, O_DIRECT), 0);
  return ends;
}
#endif

Ends socketsWith(int type, int size) {
  int ends[2];
  EXPECT_EQ(::socketpair(AF_UNIX, type, 0, ends), 0);
  EXPECT_EQ(::setsockopt(ends[1], SOL_SOCKET, SO_SNDBUF, &size, sizeof(size)), 0);
  return {ends[0], ends[1]};
}

void dontBlock(int end) {
  ASSERT_EQ(::fcntl(end, F_SETFL, ::fcntl(end, F_GETFL) | O_NONBLOCK), 0);
}

std::string readUpTo(int end, std::size_t count) {
  std::string bytes(count, '\0');
  const auto got = ::read(end, bytes.data(), count);
  bytes.resize(got > 0 ? static_cast<std::size_t>(got) : 0);
  return bytes;
}

struct Kind {
  std::string name;
  Ends (*make)();
};

void PrintTo(const Kind& kind, std::ostream* out) {
  *out << kind.name;
}

class Room : public testing::TestWithParam<Kind> {
 protected:
  Room() {
    dontBlock(ends.reading);
    dontBlock(ends.writing);  // so that a write that would block fails instead
  }
  ~Room() override {
    ::close(ends.reading);
    ::close(ends.writing);
  }

  std::mt19937 random{20};
  Ends ends = GetParam().make();
  platform::OutputRoom room;
};

// Lines of many lengths, read in pieces of many lengths, now faster and now slower than written.
TEST_P(Room, IsThereForWhatItGrants) {
  std::uniform_int_distribution<std::size_t> shortLine(1, 120);
  std::uniform_int_distribution<std::size_t> anyLine(1, 9000);
  std::uniform_int_distribution<std::size_t> longLine(1, 70000);
  std::uniform_int_distribution<int> percent(0, 99);
  const std::string bytes(70000, 'x');
  std::size_t refused = 0;
  std::size_t granted = 0;
  for (int i = 0; i < 60000; ++i) {
    const int kind = percent(random);
    const std::size_t wanted = kind < 70   ? shortLine(random)
                               : kind < 98 ? anyLine(random)
                                           : longLine(random);
    const std::size_t now = room.take(ends.writing, wanted);
    if (now > 0) {
      const auto written = ::write(ends.writing, bytes.data(), now);
      ASSERT_EQ(written, static_cast<ssize_t>(now)) << "line " << i << " of " << wanted;
      ++granted;
    } else {
      ++refused;
    }
    const bool isSlow = (i / 3000) % 2 == 0;
    if (percent(random) < (isSlow ? 5 : 60)) readUpTo(ends.reading, anyLine(random));
    if (!isSlow && percent(random) == 0) {
      while (!readUpTo(ends.reading, 65536).empty()) continue;
    }
  }
  EXPECT_GT(granted, 10000U);
  EXPECT_GT(refused, 100U);
}

TEST_P(Room, ComesBackWhenAllIsRead) {
  while (room.take(ends.writing, 1000) == 1000) {
    ASSERT_GT(::write(ends.writing, std::string(1000, 'x').data(), 1000), 0);
  }
  while (room.take(ends.writing, 1) == 1) ASSERT_EQ(::write(ends.writing, "x", 1), 1);
  EXPECT_EQ(room.take(ends.writing, 1), 0U);
  while (!readUpTo(ends.reading, 65536).empty()) continue;
  constexpr std::size_t kLeast = std::min<std::size_t>(1000, PIPE_BUF);
  EXPECT_GE(room.take(ends.writing, 1000), kLeast);
}

std::vector<Kind> kinds() {
  std::vector<Kind> kinds{{"Pipe", [] { return pipeWith(65536); }},
                          {"Socket", [] { return socketsWith(SOCK_STREAM, 106496); }}};
#ifdef F_SETPIPE_SZ
  kinds.push_back({"PipeOfOnePage", [] { return pipeWith(4096); }});
  kinds.push_back({"PipeOfTwoPages", [] { return pipeWith(8192); }});
  kinds.push_back({"LargePipe", [] { return pipeWith(1 << 20); }});
  kinds.push_back({"SmallSocket", [] { return socketsWith(SOCK_STREAM, 1); }});
#endif
#ifdef O_DIRECT
  kinds.push_back({"PipeThatKeepsWritesApart", pipeThatKeepsWritesApart});
#endif
  return kinds;
}

INSTANTIATE_TEST_SUITE_P(Of, Room, testing::ValuesIn(kinds()),
                         [](const auto& kind) { return kind.param.name; });

// Only a system with F_GETPIPE_SZ tells the capacity of a pipe.
#ifdef F_GETPIPE_SZ
TEST(RoomOfAPipe, IsAskedForOnceInManyLines) {
  const Ends ends = pipeWith(65536);
  platform::OutputRoom room;
  ASSERT_EQ(room.take(ends.writing, 80), 80U);
  // In a full pipe a new look would find no room.
  dontBlock(ends.writing);
  while (::write(ends.writing, "x", 1) == 1) continue;
  for (int i = 0; i < 400; ++i) ASSERT_EQ(room.take(ends.writing, 80), 80U);
  EXPECT_EQ(room.take(ends.writing, 40000), 0U);
  ::close(ends.writing);
  ::close(ends.reading);
}
#endif

// So that a line of any length is one write there.
TEST(RoomOfAFile, IsThereForAnyLength) {
  std::FILE* file = std::tmpfile();
  ASSERT_NE(file, nullptr);
  platform::OutputRoom room;
  EXPECT_EQ(room.take(fileno(file), 10'000'000), 10'000'000U);
  std::fclose(file);
}

class HeldOutput : public testing::Test {
 protected:
  HeldOutput() {
    stream = ::fdopen(ends.writing, "w");
    std::setbuf(stream, nullptr);
    dontBlock(ends.reading);
  }
  ~HeldOutput() override {
    if (ends.reading >= 0) ::close(ends.reading);
    std::fclose(stream);
  }

  // Reads and lets out until nothing more comes.
  std::string readAll() {
    std::string all;
    for (std::string bytes = readUpTo(ends.reading, 5000); !bytes.empty();
         bytes = readUpTo(ends.reading, 5000)) {
      all += bytes;
      output.letOut();
    }
    return all;
  }

  Ends ends = pipeWith(8192);
  std::FILE* stream = nullptr;
  Output output{stream};
};

TEST_F(HeldOutput, HoldsNothingBackWhileThereIsRoom) {
  output.write("one\n");
  output.write(std::string(4096, 'x'));
  EXPECT_FALSE(output.holdsBack());
  EXPECT_EQ(readAll(), "one\n" + std::string(4096, 'x'));
}

TEST_F(HeldOutput, NeverWaitsAndKeepsTheOrder) {
  std::string expected;
  for (const std::size_t length : {100U, 70000U, 3U, 1U, 4096U, 200000U, 10U}) {
    const std::string line(length, static_cast<char>('a' + expected.size() % 26));
    output.write(line);
    expected += line;
  }
  EXPECT_TRUE(output.holdsBack());
  EXPECT_EQ(readAll(), expected);
  EXPECT_FALSE(output.holdsBack());
}

// A device takes a long line in several pieces, without a reader between them. One that began the
// same piece again would never come to the end.
TEST(OutputToADevice, ComesToTheEndOfALongLine) {
  std::FILE* stream = std::fopen("/dev/null", "w");
  ASSERT_NE(stream, nullptr);
  Output output(stream);
  output.write(std::string(300000, 'x'));
  EXPECT_FALSE(output.holdsBack());
  std::fclose(stream);
}

TEST_F(HeldOutput, IsNotOvertakenWhenThereIsRoomAgain) {
  output.write(std::string(100000, 'a'));
  std::string all = readUpTo(ends.reading, 100000);
  output.write("b\n");
  output.letOut();
  all += readAll();
  EXPECT_EQ(all, std::string(100000, 'a') + "b\n");
}

TEST_F(HeldOutput, IsWaitedForUntilTheReaderHasTakenIt) {
  output.write(std::string(300000, 'x'));
  std::size_t taken = 0;
  std::thread reader([&] {
    while (taken < 300000) taken += readUpTo(ends.reading, 5000).size();
  });
  output.waitUntilOut();
  EXPECT_FALSE(output.holdsBack());
  reader.join();
}

TEST_F(HeldOutput, WhoseReaderIsGoneIsForgotten) {
  const auto before = std::signal(SIGPIPE, SIG_IGN);
  output.write(std::string(300000, 'x'));
  ::close(std::exchange(ends.reading, -1));
  output.waitUntilOut();
  EXPECT_FALSE(output.holdsBack());
  std::signal(SIGPIPE, before);
}

TEST_F(HeldOutput, IsGivenUpWhenTheReaderNeedsTooLong) {
  output.write(std::string(300000, 'x'));
  output.close(1ms);
  EXPECT_TRUE(output.holdsBack());
}

// That thread may have written a part of a line.
TEST_F(HeldOutput, IsLeftAloneAtTheEndWhileAnotherThreadWrites) {
  output.write(std::string(100000, 'a'));
  const std::string out = readUpTo(ends.reading, 100000);
  ASSERT_LT(out.size(), 100000U);
  std::promise<void> holds;
  std::promise<void> isClosed;
  std::thread other([&] {
    flockfile(stream);
    holds.set_value();
    isClosed.get_future().wait();
    funlockfile(stream);
  });
  holds.get_future().wait();
  output.close(1ms);
  EXPECT_EQ(readUpTo(ends.reading, 100000), "");
  isClosed.set_value();
  other.join();
}

// A thread's write returns at once although another thread waits for the reader.
TEST_F(HeldOutput, TakesALineWhileAnotherThreadWaitsForTheReader) {
  std::thread other([this] {
    output.write(std::string(100000, 'a'));
    output.waitUntilOut();
  });
  while (!output.holdsBack()) std::this_thread::yield();
  output.write("b\n");  // returns at once
  std::string all;
  while (all.size() < 100002) all += readUpTo(ends.reading, 5000);
  other.join();
  EXPECT_EQ(all, std::string(100000, 'a') + "b\n");
}

}  // namespace
}  // namespace unit
