#include "lab/hci/LinkFaults.h"

#include <gtest/gtest.h>

namespace lab {
namespace {

using Verdict = LinkFaults::Verdict;

TEST(LinkFaults, RefusesThatManyConnections) {
  LinkFaults faults;
  EXPECT_TRUE(faults.set("refuse-connections", "2"));
  EXPECT_TRUE(faults.refusesConnection());
  EXPECT_TRUE(faults.refusesConnection());
  EXPECT_FALSE(faults.refusesConnection());
}

TEST(LinkFaults, DropsAtANamedStepOnce) {
  LinkFaults faults;
  EXPECT_TRUE(faults.set("drop-at", "subscribe:2a19"));
  EXPECT_EQ(faults.onRequest("read:2A19"), Verdict::serve);
  EXPECT_EQ(faults.onRequest("subscribe:2A19"), Verdict::drop);
  EXPECT_EQ(faults.onRequest("subscribe:2A19"), Verdict::serve);
}

TEST(LinkFaults, IgnoresTheNthRequestOfALink) {
  LinkFaults faults;
  EXPECT_TRUE(faults.set("silence-at", "request:2"));
  EXPECT_EQ(faults.onRequest("mtu"), Verdict::serve);
  faults.linkUp();
  EXPECT_EQ(faults.onRequest("mtu"), Verdict::serve);
  EXPECT_EQ(faults.onRequest("services"), Verdict::ignore);
  EXPECT_EQ(faults.onRequest("services"), Verdict::serve);
}

TEST(LinkFaults, DelaysANamedStepOnce) {
  LinkFaults faults;
  EXPECT_TRUE(faults.set("late-at", "subscribe:2a19,6000"));
  EXPECT_EQ(faults.onRequest("read:2A19"), Verdict::serve);
  EXPECT_EQ(faults.onRequest("subscribe:2A19"), Verdict::delay);
  EXPECT_EQ(faults.delay(), std::chrono::milliseconds(6000));
  EXPECT_EQ(faults.onRequest("subscribe:2A19"), Verdict::serve);
}

TEST(LinkFaults, DropsAfterTheNthValueOfALink) {
  LinkFaults faults;
  EXPECT_TRUE(faults.set("drop-at", "value:2"));
  EXPECT_FALSE(faults.dropsAfterValue());
  EXPECT_TRUE(faults.dropsAfterValue());
  EXPECT_FALSE(faults.dropsAfterValue());
}

TEST(LinkFaults, RefusesWhatItDoesNotKnow) {
  LinkFaults faults;
  EXPECT_FALSE(faults.set("drop-at", "read:xyz"));
  EXPECT_FALSE(faults.set("drop-at", "request:0"));
  EXPECT_FALSE(faults.set("drop-at", "value:"));
  EXPECT_FALSE(faults.set("drop-at", "toast"));
  EXPECT_FALSE(faults.set("drop-at", "subscribe"));
  EXPECT_FALSE(faults.set("silence-at", "toast:2A19"));
  EXPECT_FALSE(faults.set("silence-at", "services:"));
  EXPECT_FALSE(faults.set("refuse-connections", "many"));
  EXPECT_FALSE(faults.set("late-at", "read:2A19"));
  EXPECT_FALSE(faults.set("late-at", "read:xyz,10"));
  EXPECT_FALSE(faults.set("hide", "180F"));
}

TEST(LinkFaults, CanAllBeCleared) {
  LinkFaults faults;
  faults.set("refuse-connections", "2");
  faults.set("drop-at", "mtu");
  faults.clear();
  EXPECT_FALSE(faults.refusesConnection());
  EXPECT_EQ(faults.onRequest("mtu"), Verdict::serve);
}

}  // namespace
}  // namespace lab
