#include "scope/watch/State.h"

#include <gtest/gtest.h>

#include "vornix_host.h"

namespace scope {
namespace {

class BridgeState : public testing::Test {
 protected:
  void message(std::string_view payload) { state.add(1, vornix_host::decodePayload(payload)); }
  void log(std::string_view text) { state.add(1, vornix_host::LogEntry{{}, std::string(text)}); }

  State state;
};

TEST_F(BridgeState, IsReadyWhenTheDeviceHasSaidSo) {
  message("P1;10;");
  EXPECT_FALSE(state.isSafe("FX_getJson"));
  log("didUpdateNotificationStateFor 3A93 : ok");
  EXPECT_FALSE(state.isSafe("FX_getJson"));
  message("C;5;0;120034;2;260;3;7;");
  EXPECT_TRUE(state.isSafe("FX_getJson"));
  EXPECT_FALSE(state.isSafe("CV_debutCalib"));
  message("C;4;0;87;0;");
  EXPECT_TRUE(state.isSafe("CV_debutCalib"));
}

TEST_F(BridgeState, IsNotSafeForAnythingOnceTheBridgeHasEnded) {
  EXPECT_TRUE(state.isSafe("kill"));
  state.add({Kind::end, 2, "signal 6"});
  EXPECT_FALSE(state.isSafe("kill"));
  EXPECT_EQ(state.ending(), (Ending{true, 6}));
}

TEST_F(BridgeState, IsNotSafeForAnythingOnceItsInputIsClosed) {
  state.add({Kind::inputEnd, 2, {}});
  EXPECT_FALSE(state.isSafe("kill"));
}

TEST_F(BridgeState, FindsADevicesNameInTheLog) {
  log("Connexion a KVALTRIN-9");
  EXPECT_EQ(state.device(Family::probe).name, "KVALTRIN-9");
  log("Connexion a Tarvix-1 <b>");
  EXPECT_TRUE(state.device(Family::corvelta).isFound);
  EXPECT_FALSE(state.device(Family::fenwix).isFound);
}

TEST_F(BridgeState, TellsWhyADeviceStaysSilent) {
  log("erreur de lecture des services de rien de Tramsel-1");
  EXPECT_TRUE(state.device(Family::tramsel).hasFailed);
  log("didUpdateNotificationStateFor 3A93 : Erreur : refused");
  EXPECT_EQ(state.device(Family::fenwix).isCommandOpen, false);
  EXPECT_EQ(state.device(Family::fenwix).commandRefusal, "Erreur : refused");
}

TEST_F(BridgeState, CountsWhatIsDamaged) {
  state.add(1, vornix_host::DamagedLine{"<V;0000>\n"});
  state.add({Kind::missed, 2, "4096"});
  const std::string json = state.toJson();
  EXPECT_NE(json.find("\"damaged\":1"), std::string::npos) << json;
  EXPECT_NE(json.find("\"missed\":4096"), std::string::npos) << json;
}

TEST_F(BridgeState, KnowsTheBatteryOfAProbeAsSoonAsItIsTold) {
  message("S;-1;4660;10;");
  EXPECT_TRUE(state.device(Family::probe).isReady);
  EXPECT_EQ(state.device(Family::probe).battery, std::nullopt);
  message("S;90;4660;10;");
  EXPECT_EQ(state.device(Family::probe).battery, 90);
}

}  // namespace
}  // namespace scope
