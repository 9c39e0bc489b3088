#include <gtest/gtest.h>

#include <csignal>
#include <string>
#include <vector>

#include "vornix_host/Recipe.h"
#include "vornix_host/detail/Life.h"

namespace {

using namespace std::chrono_literals;
using vornix_host::Recipe;
using vornix_host::RunEnd;
using Pauses = std::vector<long>;

RunEnd aborted(std::string log, std::chrono::milliseconds lived = 3s) {
  return {-SIGABRT, lived, std::move(log), "", false};
}

// The pauses after the next runs in seconds; -1 when the bridge is not started again.
Pauses pausesAfter(Recipe& recipe, int count, std::chrono::milliseconds lived = 3s) {
  static int number = 0;
  Pauses pauses;
  for (int i = 0; i < count; ++i) {
    const auto pause = recipe.after(aborted(std::to_string(number++), lived)).pause;
    pauses.push_back(pause ? static_cast<long>(*pause / 1s) : -1);
  }
  return pauses;
}

TEST(Recipe, PausesLongerEachTimeAndEndsAfterFiveShortLives) {
  Recipe recipe;
  EXPECT_EQ(pausesAfter(recipe, 5), (Pauses{1, 2, 4, 8, -1}));
}

TEST(Recipe, BeginsAnewAfterAMinuteOfLife) {
  Recipe recipe;
  EXPECT_EQ(pausesAfter(recipe, 3), (Pauses{1, 2, 4}));
  EXPECT_EQ(pausesAfter(recipe, 1, 60s), Pauses{1});
  EXPECT_EQ(pausesAfter(recipe, 5), (Pauses{1, 2, 4, 8, -1}));
}

TEST(Recipe, GoesOnForEverWithLongLives) {
  Recipe recipe;
  for (int i = 0; i < 1000; ++i) EXPECT_EQ(recipe.after(aborted("Stop Scan", 1h)).pause, 1s);
}

TEST(Recipe, BlamesADeviceWhenTheLastLineIsTheSameAgain) {
  Recipe recipe;
  EXPECT_EQ(recipe.after(aborted("Connexion a ILO-1")).pause, 1s);
  const auto verdict = recipe.after(aborted("Connexion a ILO-1"));
  EXPECT_FALSE(verdict.pause);
  EXPECT_NE(verdict.why.find("ILO-1"), std::string::npos);
}

TEST(Recipe, AvoidsACommandThatHasEndedItTwice) {
  Recipe recipe;
  EXPECT_EQ(recipe.after(aborted("cde : start raw")).pause, 1s);
  EXPECT_FALSE(recipe.isAvoided(*vornix_host::commandOf("FX_startRaw")));
  EXPECT_EQ(recipe.after(aborted("cde : start raw")).pause, 1s);
  EXPECT_TRUE(recipe.isAvoided(*vornix_host::commandOf("FX_startRaw")));
  EXPECT_TRUE(recipe.isAvoided(*vornix_host::commandOf("FX_stopRaw")));
  EXPECT_FALSE(recipe.isAvoided(*vornix_host::commandOf("FX_startRaw2")));
}

TEST(Recipe, AvoidsEachOfTwoCommands) {
  Recipe recipe;
  for (const char* log : {"cde : stop raw", "cde : stop raw", "cde : get json", "cde : get json"}) {
    recipe.after(aborted(log));
  }
  for (const char* line : {"FX_startRaw", "FX_stopRaw", "FX_getJson"}) {
    EXPECT_TRUE(recipe.isAvoided(*vornix_host::commandOf(line))) << line;
  }
  EXPECT_FALSE(recipe.isAvoided(*vornix_host::commandOf("FX_cmdWriteInt 1 2")));
}

TEST(Recipe, GetsPastAnyNumberOfCommandsThatEndIt) {
  Recipe recipe;
  for (const vornix_host::Command& command : vornix_host::commands) {
    for (int life = 1; life <= 2; ++life) {
      EXPECT_EQ(recipe.after(aborted(std::string(command.log))).pause, 1s) << command.log << life;
    }
  }
}

TEST(Recipe, DoesNotBlameADeviceForASignalThatWasSent) {
  Recipe recipe;
  for (const int status : {-SIGTERM, -SIGKILL, 128 + SIGKILL, -SIGTERM}) {
    EXPECT_TRUE(recipe.after({status, 3s, "Connexion a ILO-1", "", false}).pause) << status;
  }
}

TEST(Recipe, BlamesADeviceAlsoWithASentSignalInBetween) {
  Recipe recipe;
  recipe.after(aborted("Connexion a ILO-1"));
  recipe.after({-SIGTERM, 3s, "Stop Scan", "", false});
  EXPECT_FALSE(recipe.after(aborted("Connexion a ILO-1")).pause);
}

TEST(Recipe, LeavesAnEndThatItCannotExplainToTheUser) {
  for (const int status : {0, 2, 127}) {
    EXPECT_FALSE(Recipe().after({status, 2s, "", "", false}).pause) << status;
  }
  EXPECT_EQ(Recipe().after({134, 2s, "", "", false}).pause, 1s) << "SIGABRT as a shell reports it";
}

TEST(Recipe, LeavesTheRadioAndAFenwixWithoutNumberToTheUser) {
  Recipe recipe;
  EXPECT_EQ(recipe.after({0, 2s, "", "off", false}).why, "Bluetooth is off");
  const auto verdict = recipe.after({0, 2s, "Erreur à l'init du Fenwix", "", false});
  EXPECT_FALSE(verdict.pause);
  EXPECT_NE(verdict.why.find("serial number"), std::string::npos);
}

TEST(Recipe, StartsAgainAfterALoss) {
  Recipe recipe;
  EXPECT_EQ(recipe.after({0, 9s, "Stop Scan", "", true}).pause, 1s);
  EXPECT_EQ(recipe.after({0, 9s, "Stop Scan", "", true}).pause, 2s);
  EXPECT_EQ(recipe.after({0, 99s, "Stop Scan", "", true}).pause, 1s);
}

TEST(Recipe, CountsAResetOfTheRadioAsALossOnlyOnceADeviceWasFound) {
  vornix_host::detail::Life life;
  const auto log = [&life](const char* text) { life.note(vornix_host::LogEntry{{}, text}, {}); };
  const auto reset = [&log] {
    log("manager state update : resetting");
    log("manager state update : poweredOn");
  };
  reset();
  EXPECT_FALSE(life.hasLost());
  log("Connexion a Tramsel-1");
  EXPECT_FALSE(life.hasLost());
  reset();
  EXPECT_TRUE(life.hasLost());
}

}  // namespace
