#include <gtest/gtest.h>

#include <fstream>
#include <set>
#include <sstream>
#include <string>

#include "vornix_host/Commands.h"

namespace {

using vornix_host::checkCommand;
using vornix_host::CommandError;
using vornix_host::commandOf;
using vornix_host::Needs;

bool isGood(const std::string& line) {
  try {
    checkCommand(line);
    return true;
  } catch (const CommandError&) {
    return false;
  }
}

// The cases are lines "good corvelta NOT_DURING STOP WORD<TAB>LOG<TAB>LINE" or "bad ...", made from
// docs/messages.json by cases.py.
TEST(Commands, AreThoseOfTheTable) {
  std::ifstream cases(VORNIX_COMMANDS);
  std::set<std::string> words;
  int bad = 0;
  for (std::string all; std::getline(cases, all);) {
    std::istringstream fields(all);
    std::string verdict, device, notDuring, stop, word, log, line;
    fields >> verdict >> device >> notDuring >> stop >> std::ws;
    std::getline(fields, word, '\t');
    std::getline(fields, log, '\t');
    std::getline(fields, line);
    const auto* const command = commandOf(line);
    ASSERT_NE(command, nullptr) << line;
    EXPECT_EQ(command->word, word);
    EXPECT_EQ(command->log, log);
    EXPECT_EQ(isNotDuringDocument(*command), notDuring == "FenwixJson") << line;
    EXPECT_EQ(command->stop, stop == "-" ? "" : stop);
    EXPECT_EQ(command->needs, device == "corvelta" ? Needs::corvelta
                              : device == "fenwix" ? Needs::fenwix
                                                   : Needs::nothing);
    EXPECT_EQ(isGood(line), verdict == "good") << line;
    words.insert(word);
    bad += verdict == "bad";
  }
  EXPECT_EQ(words.size(), vornix_host::commands.size());
  EXPECT_GT(bad, 10);
}

TEST(Commands, AskForTheDocumentByWordOrByNumber) {
  for (const char* line : {"FX_getJson", "FX_getJson\r", "FX_cmdWriteInt 19 0",
                           "FX_cmdWriteByteX +019 1 2", "FX_cmdWriteByte 19 0\r"}) {
    EXPECT_TRUE(vornix_host::asksForDocument(line)) << line;
  }
  for (const char* line : {"FX_cmdWriteInt 190 0", "FX_cmdWriteInt 1 19", "FX_cmdWriteByte -0 19",
                           "FX_startRaw", "19", ""}) {
    EXPECT_FALSE(vornix_host::asksForDocument(line)) << line;
  }
}

TEST(Commands, AreReadAsTheBridgeReadsThem) {
  for (const char* line : {"FX_cmdWriteInt -0 +7", "FX_cmdWriteInt 3 004294967295 more",
                           "FX_cmdWriteIntX 1 2", "FX_cmdWriteByte 7 1\r"}) {
    EXPECT_TRUE(isGood(line)) << line;
  }
  for (const char* line :
       {"FX_cmdWriteInt", "FX_cmdWriteInt 3", "FX_cmdWriteInt  3 4", "FX_cmdWriteInt 3 -1",
        "FX_cmdWriteInt 3 +-1", "FX_cmdWriteInt 3 99999999999999999999999", "FX_startRaw\nkill"}) {
    EXPECT_FALSE(isGood(line)) << line;
  }
  for (const char* line : {"", "Kill", "kill ", "fx_startRaw", "FX_startRaw ", "bonjour"}) {
    EXPECT_TRUE(isGood(line)) << line;
    EXPECT_EQ(commandOf(line), nullptr) << line;
  }
}

}  // namespace
