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

TEST_F(BridgeState, KeepsTheLatestOfEachFieldThatIsNoCurve) {
  message("C;1;");
  message("P0;87;1;");
  message("P0;86;1;");
  message("C;5;0;4294967295;2;260;3;7;");
  EXPECT_EQ(valueOf(state.device(Family::probe), "model"), 1);
  const DeviceState& fenwix = state.device(Family::fenwix);
  EXPECT_EQ(valueOf(fenwix, "level"), 86);
  EXPECT_EQ(valueOf(fenwix, "serial"), 4294967295);
  message("P1;10;");
  message("PR2;01;");
  EXPECT_EQ(valueOf(fenwix, "value"), std::nullopt);
  const std::string json = state.toJson();
  EXPECT_NE(json.find(R"("facts":{"level":86,"health":1,"serial":4294967295,"model":2,)"
                      R"("firmware":260,"hardware":3,"systemId":7})"),
            std::string::npos)
      << json;
  EXPECT_NE(json.find(R"("rms1":{"count":1,"last":1},"rms2":{"count":0,"last":0})"),
            std::string::npos)
      << json;
  EXPECT_NE(json.find(R"("raw2":{"count":1,)"), std::string::npos) << json;
}

TEST_F(BridgeState, KnowsTheBatteryOfAProbeAsSoonAsItIsTold) {
  message("S;-1;4660;10;");
  EXPECT_TRUE(state.device(Family::probe).isReady);
  EXPECT_EQ(valueOf(state.device(Family::probe), "battery"), std::nullopt);
  const std::uint64_t changes = state.changes();
  message("S;90;4660;11;");
  EXPECT_EQ(valueOf(state.device(Family::probe), "battery"), 90);
  EXPECT_GT(state.changes(), changes);
}

}  // namespace
}  // namespace scope
