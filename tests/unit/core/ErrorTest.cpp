#include <gtest/gtest.h>

#include "platform/Platform.h"

namespace unit {
namespace {

using platform::Error;

TEST(PrintedError, HasItsDomainItsCodeAndItsMessage) {
  EXPECT_EQ((Error{"org.bluez.Error", 3, "Not connected"}.description()),
            "Error Domain=org.bluez.Error Code=3 \"Not connected\"");
}

TEST(PrintedError, IsTheStacksOwnFormWhereItHasOne) {
  EXPECT_EQ((Error{"CBErrorDomain", 6, "The connection has timed out.", "as the stack prints it"}
                 .description()),
            "as the stack prints it");
}

}  // namespace
}  // namespace unit
