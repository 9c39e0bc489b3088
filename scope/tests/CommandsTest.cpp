#include "scope/watch/Commands.h"

#include <gtest/gtest.h>

namespace scope {
namespace {

TEST(Commands, SayWhatTheyNeed) {
  EXPECT_EQ(needsOf("kill"), Needs::nothing);
  for (const char* line :
       {"CV_debutCalib", "CV_finCalib", "CV_debutAcquisition", "CV_finAcquisition"}) {
    EXPECT_EQ(needsOf(line), Needs::corvelta) << line;
  }
  for (const char* line : {"FX_startRaw", "FX_stopRaw", "FX_startRaw2", "FX_stopRaw2", "FX_getJson",
                           "FX_cmdWriteInt 255 4294967295", "FX_cmdWriteByte 0 255"}) {
    EXPECT_EQ(needsOf(line), Needs::fenwix) << line;
  }
}

TEST(Commands, AreNoneWhereTheBridgeWouldEndAbnormallyOrNotKnowThem) {
  for (const char* line :
       {"", "Kill", "kill ", "CV_debutCalib ", "FX_cmdWriteInt", "FX_cmdWriteInt ",
        "FX_cmdWriteInt 3", "FX_cmdWriteInt 256 1", "FX_cmdWriteInt  3 4", "FX_cmdWriteInt 3 ",
        "FX_cmdWriteInt 3 4294967296", "FX_cmdWriteByte 3 256", "FX_cmdWriteByte 3 0x1",
        "FX_cmdWriteByte 3 -1", "FX_cmdWriteInt 3 4 5", "kill\nkill"}) {
    EXPECT_EQ(needsOf(line), std::nullopt) << line;
  }
}

}  // namespace
}  // namespace scope
