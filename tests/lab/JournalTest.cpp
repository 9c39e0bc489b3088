#include "lab/program/Journal.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <array>

namespace lab {
namespace {

TEST(Journal, WritesOneLinePerEvent) {
  std::array<int, 2> pipe{};
  ASSERT_EQ(::pipe(pipe.data()), 0);
  {
    Journal journal(pipe[1]);
    const Uuid battery(0x2A19);
    journal.didStart("00:AA:01:01:00:01");
    journal.didAdvertise();
    journal.didConnect();
    journal.didRead(battery);
    journal.didSubscribe(battery, true);
    journal.didSend(battery, Bytes{0x5C, 0x0A});
    journal.didSend(battery, {});
    journal.didSubscribe(*Uuid::parse("23bcdd50-00ac-446d-92b9-07ab6e436ad8"), false);
    journal.didWrite(battery, Bytes{0x01});
    journal.didRefuse("read:2A19");
    journal.didTurnAway();
    journal.didDisconnect(0x13);
    journal.didFail("the controller is gone");
  }
  std::array<char, 1024> text{};
  const ssize_t size = ::read(pipe[0], text.data(), text.size());
  ::close(pipe[0]);
  ASSERT_GT(size, 0);
  EXPECT_EQ(std::string(text.data(), static_cast<std::size_t>(size)),
            "address 00:AA:01:01:00:01\n"
            "advertising\n"
            "connected\n"
            "read 2A19\n"
            "subscribed 2A19\n"
            "sent 2A19 5C0A\n"
            "sent 2A19\n"
            "unsubscribed 23BCDD50-00AC-446D-92B9-07AB6E436AD8\n"
            "wrote 2A19 01\n"
            "refused read:2A19\n"
            "turned-away\n"
            "disconnected 13\n"
            "failed the controller is gone\n");
}

}  // namespace
}  // namespace lab
