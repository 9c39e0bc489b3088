#include "scope/server/Guard.h"

#include <gtest/gtest.h>

namespace scope {
namespace {

const Guard guard("0123456789abcdef", 4711);

TEST(Guard, LetsThePageIn) {
  EXPECT_TRUE(guard.maySee({"127.0.0.1:4711", {}, ""}));
  EXPECT_TRUE(guard.maySee({"localhost:4711", "http://localhost:4711", ""}));
  EXPECT_TRUE(
      guard.mayKnow({"127.0.0.1:4711", "http://127.0.0.1:4711", "Bearer 0123456789abcdef"}));
}

TEST(Guard, KnowsTheSecretOnlyWhenItIsWhole) {
  for (const char* given :
       {"", "Bearer ", "Bearer 0123456789abcde", "Bearer 0123456789abcdeF",
        "Bearer 0123456789abcdef ", "0123456789abcdef", "Basic 0123456789abcdef"}) {
    EXPECT_FALSE(guard.mayKnow({"127.0.0.1:4711", {}, given})) << given;
  }
}

TEST(Guard, RefusesNamesThatAreNotTheLoopbackAddress) {
  for (const char* host : {"", "example.org:4711", "127.0.0.1", "127.0.0.1:4712",
                           "127.0.0.1:4711.example.org", "127.0.0.1.example.org:4711"}) {
    EXPECT_FALSE(guard.maySee({host, {}, ""})) << host;
    EXPECT_FALSE(guard.mayKnow({host, {}, "Bearer 0123456789abcdef"})) << host;
  }
}

TEST(Guard, RefusesPagesOfAnotherOrigin) {
  for (const char* origin : {"", "null", "http://example.org", "https://127.0.0.1:4711",
                             "http://127.0.0.1:4712", "http://localhost:4711"}) {
    EXPECT_FALSE(guard.mayKnow({"127.0.0.1:4711", origin, "Bearer 0123456789abcdef"})) << origin;
  }
}

TEST(Secret, IsAnotherEachTime) {
  EXPECT_EQ(makeSecret().size(), 32U);
  EXPECT_NE(makeSecret(), makeSecret());
}

}  // namespace
}  // namespace scope
