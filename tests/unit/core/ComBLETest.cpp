#include "ComBLE.h"

#include <gtest/gtest.h>

#include "GattIdentifiers.h"
#include "tests/unit/core/support/BridgeTest.h"
#include "tests/unit/core/support/Case.h"

namespace unit {
namespace {

using platform::CBManagerState;

TEST(Central, AsksForOneManagerAndNothingElseWhenMade) {
  Journal journal;
  RecordingPlatform platform(journal);
  const ComBLE comBLE(platform);
  EXPECT_EQ(journal.entries(), Entries{"makeCentralManager"});
  EXPECT_NE(comBLE.manager, nullptr);
  EXPECT_FALSE(comBLE.comSonde);
  EXPECT_FALSE(comBLE.comTramsel);
  EXPECT_FALSE(comBLE.comCorvelta);
  EXPECT_FALSE(comBLE.comFenwix);
  EXPECT_EQ(comBLE.datePremiereConn, 0);
  EXPECT_FALSE(comBLE.scanEnCours);
}

class RadioState : public BridgeTest {
 protected:
  void report(CBManagerState state) {
    central().setState(state);
    comBLE.centralManagerDidUpdateState(central());
  }
};

TEST_F(RadioState, PoweredOnStartsTheScan) {
  EXPECT_EQ(of([this] { report(CBManagerState::poweredOn); }),
            (Entries{log("manager state update : poweredOn"), "scanForPeripherals"}));
  EXPECT_TRUE(comBLE.scanEnCours);
}

TEST_F(RadioState, ResettingIsLoggedOnly) {
  EXPECT_EQ(of([this] { report(CBManagerState::resetting); }),
            Entries{log("manager state update : resetting")});
  EXPECT_FALSE(comBLE.scanEnCours);
}

TEST_F(RadioState, ResettingLeavesARunningScanMarkedAsRunning) {
  report(CBManagerState::poweredOn);
  report(CBManagerState::resetting);
  EXPECT_TRUE(comBLE.scanEnCours);
}

TEST_F(RadioState, PoweredOnAfterAResetStartsANewScanEvenIfTheFirstWasStopped) {
  report(CBManagerState::poweredOn);
  comBLE.scanEnCours = false;
  report(CBManagerState::resetting);
  EXPECT_EQ(of([this] { report(CBManagerState::poweredOn); }),
            (Entries{log("manager state update : poweredOn"), "scanForPeripherals"}));
  EXPECT_TRUE(comBLE.scanEnCours);
}

TEST_F(RadioState, IsLoggedAsTheManagersButActedOnAsTheCallbacks) {
  central().setState(CBManagerState::resetting);
  RecordingCentral other(journal, CBManagerState::poweredOn);
  EXPECT_EQ(of([&] { comBLE.centralManagerDidUpdateState(other); }),
            (Entries{log("manager state update : resetting"), "scanForPeripherals"}));
}

TEST_F(RadioState, WithoutAManagerStopsTheProcess) {
  RecordingCentral other(journal, CBManagerState::poweredOn);
  comBLE.manager.reset();
  expectAbort(journal, [&] { comBLE.centralManagerDidUpdateState(other); });
}

struct Unusable : Case {
  CBManagerState state;
  std::string logged;
  std::string payload;
};

class UnusableRadio : public RadioState, public testing::WithParamInterface<Unusable> {};

TEST_P(UnusableRadio, IsToldToTheHostAndEndsTheProcessASecondLater) {
  expectEnd(journal, [this] { report(GetParam().state); },
            {log("manager state update : " + GetParam().logged), message(GetParam().payload),
             "sleep 1000000"});
}

TEST_P(UnusableRadio, EndsTheProcessAlsoInTheMiddleOfAScan) {
  report(CBManagerState::poweredOn);
  expectEnd(journal, [this] { report(GetParam().state); },
            {log("manager state update : " + GetParam().logged), message(GetParam().payload),
             "sleep 1000000"});
}

INSTANTIATE_TEST_SUITE_P(
    , UnusableRadio,
    testing::Values(Unusable{"PoweredOff", CBManagerState::poweredOff, "poweredOff", "Z;2;"},
                    Unusable{"Unauthorized", CBManagerState::unauthorized, "unauthorized", "Z;4;"},
                    Unusable{"Unsupported", CBManagerState::unsupported, "unsupported", "Z;3;"},
                    Unusable{"Unknown", CBManagerState::unknown, "unknown", "Z;3;"},
                    Unusable{"AnyOther", static_cast<CBManagerState>(6), "unknown", "Z;3;"},
                    Unusable{"Negative", static_cast<CBManagerState>(-1), "unknown", "Z;3;"}),
    caseName);

using Discovery = BridgeTest;

TEST_F(Discovery, OfATramselAnnouncesItThenConnects) {
  const auto device = deviceNamed("Tramsel-12");
  EXPECT_EQ(of([&] { discover(device); }),
            (Entries{log("Device trouve : tramsel-12"), "device.setDelegate", message("C;3;0;"),
                     log("Connexion a Tramsel-12"), "connect device"}));
  ASSERT_TRUE(comBLE.comTramsel);
  EXPECT_EQ(comBLE.comTramsel.get()->peripheral, device);
}

TEST_F(Discovery, OfAnIloAnnouncesItThenConnects) {
  const auto device = deviceNamed("ILO-3");
  EXPECT_EQ(of([&] { discover(device); }),
            (Entries{log("Device trouve : ilo-3"), "device.setDelegate", message("C;1;"),
                     log("Connexion a ILO-3"), "connect device"}));
  ASSERT_TRUE(comBLE.comSonde);
  EXPECT_EQ(comBLE.comSonde.get()->peripheral, device);
  EXPECT_TRUE(comBLE.comSonde.get()->isIlo);
}

TEST_F(Discovery, OfATenovalAnnouncesItThenConnects) {
  EXPECT_EQ(of([this] { discover(deviceNamed("Tenoval")); }),
            (Entries{log("Device trouve : tenoval"), "device.setDelegate", message("C;2;"),
                     log("Connexion a Tenoval"), "connect device"}));
  EXPECT_FALSE(comBLE.comSonde.get()->isIlo);
}

TEST_F(Discovery, OfACorveltaConnectsWithoutAMessage) {
  const auto device = deviceNamed("Tarvix 3");
  EXPECT_EQ(of([&] { discover(device); }),
            (Entries{log("Device trouve : tarvix 3"), "device.setDelegate",
                     log("Connexion a Tarvix 3"), "connect device"}));
  EXPECT_EQ(comBLE.comCorvelta.get()->peripheral, device);
}

TEST_F(Discovery, OfAFenwixConnectsWithoutAMessage) {
  const auto device = deviceNamed("NOMSUEL");
  EXPECT_EQ(of([&] { discover(device); }),
            (Entries{log("Device trouve : nomsuel"), "device.setDelegate",
                     log("Connexion a NOMSUEL"), "connect device"}));
  EXPECT_EQ(comBLE.comFenwix.get()->peripheral, device);
}

enum class Family { none, tramsel, sonde, corvelta, fenwix };

struct Name : Case {
  std::string deviceName;
  Family family;
};

class DeviceName : public BridgeTest, public testing::WithParamInterface<Name> {};

TEST_P(DeviceName, DecidesTheFamilyByItsBeginning) {
  found(GetParam().deviceName);
  EXPECT_EQ(static_cast<bool>(comBLE.comTramsel), GetParam().family == Family::tramsel);
  EXPECT_EQ(static_cast<bool>(comBLE.comSonde), GetParam().family == Family::sonde);
  EXPECT_EQ(static_cast<bool>(comBLE.comCorvelta), GetParam().family == Family::corvelta);
  EXPECT_EQ(static_cast<bool>(comBLE.comFenwix), GetParam().family == Family::fenwix);
  const bool isAsked = journal.bytes().ends_with("\nconnect " + GetParam().deviceName + "\n");
  EXPECT_EQ(isAsked, GetParam().family != Family::none);
}

INSTANTIATE_TEST_SUITE_P(Prefix, DeviceName,
                         testing::Values(Name{"Dorvane", "dorvane", Family::tramsel},
                                         Name{"Tramsel", "tramsel", Family::tramsel},
                                         Name{"Ilo", "ilo", Family::sonde},
                                         Name{"Pelko", "pelko", Family::sonde},
                                         Name{"PelkZero", "pelk0", Family::sonde},
                                         Name{"Tenoval", "tenoval", Family::sonde},
                                         Name{"Kvaltrin", "kvaltrin", Family::sonde},
                                         Name{"Tarvix", "tarvix", Family::corvelta},
                                         Name{"Nomsuel", "nomsuel", Family::fenwix}),
                         caseName);

INSTANTIATE_TEST_SUITE_P(InAnyCase, DeviceName,
                         testing::Values(Name{"Dorvane", "DORVANE-1", Family::tramsel},
                                         Name{"Tramsel", "tRaMsEl", Family::tramsel},
                                         Name{"Ilo", "iLO42", Family::sonde},
                                         Name{"Pelko", "PELKO", Family::sonde},
                                         Name{"PelkZero", "Pelk0-7", Family::sonde},
                                         Name{"Tenoval", "TENOVAL X", Family::sonde},
                                         Name{"Kvaltrin", "KvalTrin", Family::sonde},
                                         Name{"Tarvix", "TarVix9", Family::corvelta},
                                         Name{"Nomsuel", "Nomsuel_B", Family::fenwix}),
                         caseName);

INSTANTIATE_TEST_SUITE_P(InCaseBeyondAscii, DeviceName,
                         testing::Values(Name{"DottedI", "\u0130LO", Family::none},
                                         Name{"AccentOnTheLast", "Ilo\u0301", Family::none},
                                         Name{"AccentFurtherOn", "Ilo a\u0301", Family::sonde},
                                         Name{"KelvinSign", "\u212Avaltrin", Family::sonde},
                                         Name{"KelvinSignInside", "Pel\u212Ao", Family::sonde},
                                         Name{"DotlessI", "\u0131lo", Family::none},
                                         Name{"FullWidth", "\uFF29\uFF2C\uFF2F", Family::none},
                                         Name{"LongS", "tram\u017Fel", Family::none},
                                         Name{"CyrillicO", "il\u043E", Family::none}),
                         caseName);

INSTANTIATE_TEST_SUITE_P(
    Other, DeviceName,
    testing::Values(Name{"Nothing", "", Family::none}, Name{"ShortIlo", "il", Family::none},
                    Name{"ShortTramsel", "tramse", Family::none},
                    Name{"BlankFirst", " ilo", Family::none},
                    Name{"ByteOrderMarkFirst", "\uFEFFilo", Family::none},
                    Name{"Later", "my ilo", Family::none}, Name{"Pelk", "pelk", Family::none},
                    Name{"PelkOne", "pelk1", Family::none}, Name{"Fenwix", "fenwix", Family::none},
                    Name{"Corvelta", "corvelta", Family::none},
                    Name{"Sonde", "sonde", Family::none}),
    caseName);

TEST_F(Discovery, OfANamelessDeviceIsIgnoredWithoutALogLine) {
  EXPECT_EQ(of([this] { discover(deviceNamed(std::nullopt)); }), Entries{});
}

TEST_F(Discovery, OfAnEmptyNameIsLogged) {
  EXPECT_EQ(of([this] { discover(deviceNamed("")); }), Entries{log("Device trouve : ")});
}

TEST_F(Discovery, OfAnUnknownNameIsLoggedOnly) {
  EXPECT_EQ(of([this] { discover(deviceNamed("TV du SALON \u00C9")); }),
            Entries{log("Device trouve : tv du salon \u00E9")});
  EXPECT_EQ(comBLE.datePremiereConn, 0);
}

TEST_F(Discovery, IsLoggedEachTimeUntilTheFirstConnectionRequest) {
  const auto device = deviceNamed("TV");
  EXPECT_EQ(of([&] {
              discover(device);
              discover(device);
            }),
            (Entries{log("Device trouve : tv"), log("Device trouve : tv")}));
}

TEST_F(Discovery, OfADeviceThatGetsItsNameLaterIsTakenThen) {
  const auto device = deviceNamed(std::nullopt);
  discover(device);
  device->setName("Tarvix");
  EXPECT_EQ(of([&] { discover(device); }).back(), "connect device");
}

TEST_F(Discovery, LogsTheNameAsAdvertisedWhenItConnects) {
  const Entries entries = of([this] { found("ILO \u0130\u00C9<1>"); });
  EXPECT_EQ(entries[0], log("Device trouve : ilo i\u0307\u00E9&inf;1&sup;"));
  EXPECT_EQ(entries[3], log("Connexion a ILO \u0130\u00C9&inf;1&sup;"));
}

TEST_F(Discovery, OfANameThatIsNotUtf8StopsTheProcess) {
  expectAbort(journal, [this] { discover(deviceNamed("Tramsel\xFF")); });
}

TEST_F(Discovery, NotesTheDateOfTheFirstConnectionRequestOnly) {
  platform.setNow(1'000.25);
  found("Tarvix");
  EXPECT_EQ(comBLE.datePremiereConn, 1'000.25);
  platform.setNow(2'000);
  found("Tramsel");
  EXPECT_EQ(comBLE.datePremiereConn, 1'000.25);
}

TEST_F(Discovery, IsNotLoggedAfterTheFirstConnectionRequestButStillTaken) {
  found("Nomsuel 1");
  EXPECT_EQ(of([this] { found("TV"); }), Entries{});
  EXPECT_EQ(of([this] { found("Tramsel"); }),
            (Entries{"Tramsel.setDelegate", message("C;3;0;"), log("Connexion a Tramsel"),
                     "connect Tramsel"}));
  EXPECT_EQ(of([this] { found("Pelko"); }), (Entries{"Pelko.setDelegate", message("C;2;"),
                                                     log("Connexion a Pelko"), "connect Pelko"}));
  EXPECT_EQ(of([this] { found("Tarvix"); }),
            (Entries{"Tarvix.setDelegate", log("Connexion a Tarvix"), "connect Tarvix"}));
}

struct Second : Case {
  std::string first;
  std::string second;
};

class SecondDevice : public BridgeTest, public testing::WithParamInterface<Second> {};

TEST_P(SecondDevice, OfAFamilyIsIgnored) {
  const auto first = found(GetParam().first);
  EXPECT_EQ(of([this] { found(GetParam().second); }), Entries{});
  EXPECT_EQ(of([&] { discover(first); }), Entries{});
}

INSTANTIATE_TEST_SUITE_P(, SecondDevice,
                         testing::Values(Second{"Fenwix", "Nomsuel 1", "Nomsuel 2"},
                                         Second{"Tramsel", "Tramsel-12", "Dorvane"},
                                         Second{"Ilo", "Tenoval", "ILO-3"},
                                         Second{"Tenoval", "ilo", "Tenoval"},
                                         Second{"Corvelta", "Tarvix", "Tarvix"}),
                         caseName);

TEST_F(Discovery, KeepsTheFirstHandlerOfAFamily) {
  const auto first = found("Nomsuel 1");
  const ComFenwix* handler = comBLE.comFenwix.get();
  found("Nomsuel 2");
  EXPECT_EQ(comBLE.comFenwix.get(), handler);
  EXPECT_EQ(handler->peripheral, first);
}

TEST_F(Discovery, WithoutAManagerStopsTheProcessWhenItIsToConnect) {
  RecordingCentral other(journal, CBManagerState::poweredOn);
  const auto device = deviceNamed("Tarvix");
  comBLE.manager.reset();
  expectAbort(journal, [&] { comBLE.centralManagerDidDiscover(other, device); },
              {log("Device trouve : tarvix"), "device.setDelegate", log("Connexion a Tarvix")});
}

using Connection = BridgeTest;

TEST_F(Connection, OfATramselAsksForItsServices) {
  const auto device = found("Tramsel");
  EXPECT_EQ(of([&] { connect(device); }),
            Entries{"Tramsel." + discoverServices({service_tramsel, service_batt})});
}

TEST_F(Connection, OfAFenwixAsksForItsServices) {
  const auto device = found("Nomsuel");
  EXPECT_EQ(of([&] { connect(device); }),
            Entries{"Nomsuel." + discoverServices({service_fenwix, service_batt, service_info,
                                                   service_fenwix_config})});
}

TEST_F(Connection, OfACorveltaAsksForItsServices) {
  const auto device = found("Tarvix");
  EXPECT_EQ(of([&] { connect(device); }),
            Entries{"Tarvix." +
                    discoverServices({service_corvelta_parametres, service_corvelta_calibration,
                                      service_corvelta_contractions, service_batt})});
}

TEST_F(Connection, OfAnIloAsksForItsService) {
  const auto device = found("Ilo");
  EXPECT_EQ(of([&] { connect(device); }), Entries{"Ilo." + discoverServices({service_ilo})});
}

TEST_F(Connection, OfAnyOtherProbeAsksForTheServicesOfATenoval) {
  const auto device = found("Kvaltrin");
  EXPECT_EQ(of([&] { connect(device); }),
            Entries{"Kvaltrin." + discoverServices({service_batt, service_tenoval})});
}

TEST_F(Connection, IsToldApartByTheDeviceWhenAllFamiliesAreThere) {
  const auto tenoval = found("Tenoval");
  const auto tramsel = found("Dorvane");
  const auto fenwix = found("Nomsuel");
  const auto corvelta = found("Tarvix");
  const auto labelOf = [this](const Device& device) {
    const Entries entries = of([&] { connect(device); });
    return entries.size() == 1 ? entries[0].substr(0, entries[0].find('.')) : "";
  };
  EXPECT_EQ(labelOf(corvelta), "Tarvix");
  EXPECT_EQ(labelOf(tenoval), "Tenoval");
  EXPECT_EQ(labelOf(fenwix), "Nomsuel");
  EXPECT_EQ(labelOf(tramsel), "Dorvane");
}

// Its name has changed between two discoveries.
TEST_F(Connection, OfADeviceOfTwoFamiliesIsForTheFirstInTheOrderOfConnections) {
  const auto device = found("Tenoval");
  device->setName("Nomsuel");
  discover(device);
  EXPECT_EQ(of([&] { connect(device); }),
            Entries{"Tenoval." + discoverServices({service_fenwix, service_batt, service_info,
                                                   service_fenwix_config})});
}

TEST_F(Connection, AgainAsksForTheServicesAgain) {
  const auto device = found("Tramsel");
  connect(device);
  EXPECT_EQ(of([&] { connect(device); }).size(), 1U);
}

TEST_F(Connection, OfADeviceWithoutAHandlerDoesNothing) {
  EXPECT_EQ(of([this] { connect(deviceNamed("Tramsel")); }), Entries{});
  found("Tramsel");
  EXPECT_EQ(of([this] { connect(deviceNamed("Tramsel")); }), Entries{});
}

TEST_F(Connection, ReachesTheHandlerThroughTheDevice) {
  const auto device = found("Tramsel");
  connect(device);
  EXPECT_EQ(of([&] { device->discovered({service_tramsel}); }),
            Entries{"Tramsel." + discoverCharacteristics({charac_tramsel}, service_tramsel)});
  EXPECT_EQ(of([&] { device->deliver(charac_tramsel, Bytes(18)); }),
            Entries{message("B;-1;0;0;0;0;0;0;0;0;0;")});
}

}  // namespace
}  // namespace unit
