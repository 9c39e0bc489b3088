#include <gtest/gtest.h>

#include "ComCorvelta.h"
#include "GattIdentifiers.h"
#include "tests/unit/core/support/Case.h"
#include "tests/unit/core/support/HandlerTest.h"

namespace unit {
namespace {

using platform::CBUUID;

class CorveltaHandler : public HandlerTest<ComCorvelta> {
 protected:
  CorveltaHandler() : HandlerTest("Tarvix 3") {}

  Entries discoveringOne(const CBUUID& uuid) {
    HandMadeCharacteristic characteristic(uuid);
    return of([&] { device->discoveredIn({&characteristic}); });
  }
};

Bytes bytesOf(std::string_view text) {
  return {text.begin(), text.end()};
}

TEST_F(CorveltaHandler, BecomesTheDelegateAndDoesNothingElseWhenMade) {
  EXPECT_EQ(of([this] { ComCorvelta other(device); }), Entries{on("setDelegate")});
  EXPECT_EQ(handler.peripheral, device);
}

TEST_F(CorveltaHandler, IsTheDelegateOfItsDevice) {
  EXPECT_EQ(device->delegate(), &handler);
}

TEST_F(CorveltaHandler, KeepsTheStopAndTheStartByte) {
  EXPECT_EQ(Bytes(handler.data0.begin(), handler.data0.end()), Bytes{0x00});
  EXPECT_EQ(Bytes(handler.data1.begin(), handler.data1.end()), Bytes{0x01});
}

TEST_F(CorveltaHandler, HasNoOrderCharacteristicsAtFirst) {
  EXPECT_EQ(handler.charac_calibration, nullptr);
  EXPECT_EQ(handler.charac_acquisition, nullptr);
  EXPECT_EQ(handler.charac_force_sleep, nullptr);
}

const std::string kTheBattery = "device." + discoverCharacteristics({charac_batt}, service_batt);
const std::string kParametres =
    "device." + discoverCharacteristics(
                    {charac_corvelta_FW, charac_corvelta_secteur, charac_corvelta_force_sleep},
                    service_corvelta_parametres);
const std::string kCalibration =
    "device." +
    discoverCharacteristics({charac_corvelta_calibration, charac_corvelta_new_calibration,
                             charac_corvelta_erreur_calibration},
                            service_corvelta_calibration);
const std::string kContractions =
    "device." + discoverCharacteristics({charac_corvelta_acquisition, charac_corvelta_contractions},
                                        service_corvelta_contractions);

TEST_F(CorveltaHandler, AsksForTheCharacteristicsOfEachServiceInTheOrderOfTheServices) {
  EXPECT_EQ(of([this] {
              device->discovered({service_corvelta_parametres, service_corvelta_calibration,
                                  service_corvelta_contractions, service_batt});
            }),
            (Entries{kParametres, kCalibration, kContractions, kTheBattery}));
  EXPECT_EQ(of([this] {
              device->discovered({service_batt, service_corvelta_contractions,
                                  service_corvelta_calibration, service_corvelta_parametres});
            }),
            (Entries{kTheBattery, kContractions, kCalibration, kParametres}));
}

TEST_F(CorveltaHandler, PassesOverOtherServices) {
  EXPECT_EQ(of([this] {
              device->discovered({service_info, service_batt, service_tramsel});
            }),
            Entries{kTheBattery});
}

TEST_F(CorveltaHandler, DoesNothingWithoutServices) {
  EXPECT_EQ(of([this] { device->discovered({}); }), Entries{});
}

TEST_F(CorveltaHandler, LogsAFailedServiceDiscoveryOnce) {
  EXPECT_EQ(of([this] { device->discoveredNoList(&someError); }),
            Entries{log("erreur de lecture des services " + someErrorPrinted + " de Tarvix 3")});
}

TEST_F(CorveltaHandler, LogsAnErrorThatComesWithAListAndAsksForNothing) {
  EXPECT_EQ(of([this] { device->discovered({service_batt}, &someError); }),
            Entries{log("erreur de lecture des services " + someErrorPrinted + " de Tarvix 3")});
}

TEST_F(CorveltaHandler, NoListAndNoErrorStopTheProcess) {
  expectAbort([this] { device->discoveredNoList(nullptr); });
}

TEST_F(CorveltaHandler, AFailedServiceDiscoveryOfANamelessDeviceStopsTheProcess) {
  device->setName(std::nullopt);
  expectAbort([this] { device->discoveredNoList(&someError); });
}

TEST_F(CorveltaHandler, ReadsThenSubscribesToTheMainsState) {
  EXPECT_EQ(discoveringOne(charac_corvelta_secteur),
            (Entries{on(read(charac_corvelta_secteur)), on(subscribe(charac_corvelta_secteur))}));
}

TEST_F(CorveltaHandler, ReadsTheBatteryOnlyOnce) {
  EXPECT_EQ(discoveringOne(charac_batt), Entries{on(read(charac_batt))});
}

TEST_F(CorveltaHandler, ReadsTheFirmwareOnlyOnce) {
  EXPECT_EQ(discoveringOne(charac_corvelta_FW), Entries{on(read(charac_corvelta_FW))});
}

TEST_F(CorveltaHandler, SubscribesToContractionsAndCalibrationResults) {
  for (const CBUUID& uuid : {charac_corvelta_contractions, charac_corvelta_new_calibration,
                             charac_corvelta_erreur_calibration}) {
    EXPECT_EQ(discoveringOne(uuid), Entries{on(subscribe(uuid))});
  }
}

TEST_F(CorveltaHandler, KeepsTheOrderCharacteristicsWithoutTouchingThem) {
  HandMadeCharacteristic calibration(charac_corvelta_calibration);
  HandMadeCharacteristic acquisition(charac_corvelta_acquisition);
  HandMadeCharacteristic sleep(charac_corvelta_force_sleep);
  EXPECT_EQ(of([&] { device->discoveredIn({&calibration}); }), Entries{});
  EXPECT_EQ(handler.charac_calibration, &calibration);
  EXPECT_EQ(handler.charac_acquisition, nullptr);
  EXPECT_EQ(of([&] { device->discoveredIn({&acquisition}); }), Entries{});
  EXPECT_EQ(handler.charac_acquisition, &acquisition);
  EXPECT_EQ(handler.charac_force_sleep, nullptr);
  EXPECT_EQ(of([&] { device->discoveredIn({&sleep}); }), Entries{});
  EXPECT_EQ(handler.charac_force_sleep, &sleep);
  EXPECT_EQ(handler.charac_calibration, &calibration);
}

TEST_F(CorveltaHandler, ASecondDiscoveryReplacesTheOrderCharacteristics) {
  HandMadeCharacteristic first(charac_corvelta_calibration);
  HandMadeCharacteristic second(charac_corvelta_calibration);
  HandMadeCharacteristic otherAcquisition(charac_corvelta_acquisition);
  HandMadeCharacteristic acquisition(charac_corvelta_acquisition);
  HandMadeCharacteristic otherSleep(charac_corvelta_force_sleep);
  HandMadeCharacteristic sleep(charac_corvelta_force_sleep);
  device->discoveredIn({&first, &otherAcquisition, &otherSleep});
  device->discoveredIn({&second, &acquisition, &sleep});
  EXPECT_EQ(handler.charac_calibration, &second);
  EXPECT_EQ(handler.charac_acquisition, &acquisition);
  EXPECT_EQ(handler.charac_force_sleep, &sleep);
}

TEST_F(CorveltaHandler, ActsInTheOrderOfTheCharacteristics) {
  HandMadeCharacteristic firmware(charac_corvelta_FW);
  HandMadeCharacteristic sleep(charac_corvelta_force_sleep);
  HandMadeCharacteristic mains(charac_corvelta_secteur);
  HandMadeCharacteristic unknown(charac_ilo);
  HandMadeCharacteristic contractions(charac_corvelta_contractions);
  EXPECT_EQ(of([&] {
              device->discoveredIn({&contractions, &unknown, &mains, &sleep, &firmware});
            }),
            (Entries{on(subscribe(charac_corvelta_contractions)), on(read(charac_corvelta_secteur)),
                     on(subscribe(charac_corvelta_secteur)), on(read(charac_corvelta_FW))}));
}

TEST_F(CorveltaHandler, NeitherReadsNorSubscribesToOtherCharacteristics) {
  for (const CBUUID& uuid : {charac_info_modele, charac_batt_heath, charac_ilo, charac_tramsel,
                             CBUUID::UUIDWithString("89e6b9fd-f08f-4b6c-93e6-49a24ba04201")}) {
    EXPECT_EQ(discoveringOne(uuid), Entries{});
  }
}

TEST_F(CorveltaHandler, DoesNotLookAtTheErrorOfACharacteristicDiscovery) {
  HandMadeCharacteristic firmware(charac_corvelta_FW);
  EXPECT_EQ(of([&] { device->discoveredIn({&firmware}, &someError); }),
            Entries{on(read(charac_corvelta_FW))});
}

TEST_F(CorveltaHandler, DoesNothingWithoutCharacteristics) {
  EXPECT_EQ(of([this] { device->discoveredNoListIn(service_corvelta_parametres, &someError); }),
            Entries{});
  EXPECT_EQ(of([this] { device->discoveredIn({}); }), Entries{});
}

TEST_F(CorveltaHandler, SendsTheBatteryLevel) {
  EXPECT_EQ(delivering(charac_batt, {0x64}), Entries{message("C;4;0;100;0;")});
  EXPECT_EQ(delivering(charac_batt, {87}), Entries{message("C;4;0;87;0;")});
  EXPECT_EQ(delivering(charac_batt, {0x00}), Entries{message("C;4;0;0;0;")});
  EXPECT_EQ(delivering(charac_batt, {0xFF, 0x01}), Entries{message("C;4;0;255;0;")});
}

TEST_F(CorveltaHandler, LogsThatItIsNotOnMainsAndSendsNothing) {
  EXPECT_EQ(delivering(charac_corvelta_secteur, {0x00}), Entries{log("Corvelta en charge : 0")});
}

TEST_F(CorveltaHandler, LogsThenSendsThatItIsOnMains) {
  EXPECT_EQ(delivering(charac_corvelta_secteur, {0x01}),
            (Entries{log("Corvelta en charge : 1"), message("V;")}));
  EXPECT_EQ(delivering(charac_corvelta_secteur, {0x02}),
            (Entries{log("Corvelta en charge : 2"), message("V;")}));
  EXPECT_EQ(delivering(charac_corvelta_secteur, {0xFF, 0x00}),
            (Entries{log("Corvelta en charge : 255"), message("V;")}));
}

TEST_F(CorveltaHandler, IgnoresWhatFollowsTheMainsByte) {
  EXPECT_EQ(delivering(charac_corvelta_secteur, {0x00, 0x01}),
            Entries{log("Corvelta en charge : 0")});
}

struct Firmware : Case {
  std::string value;
  std::string logged;
};

class CorveltaFirmware : public HandlerTest<ComCorvelta>,
                         public testing::WithParamInterface<Firmware> {
 protected:
  CorveltaFirmware() : HandlerTest("Tarvix") {}
};

TEST_P(CorveltaFirmware, IsLoggedAsRepairedText) {
  EXPECT_EQ(delivering(charac_corvelta_FW, bytesOf(GetParam().value)),
            Entries{log("version FW du CorVelta : " + GetParam().logged)});
}

INSTANTIATE_TEST_SUITE_P(
    Of, CorveltaFirmware,
    testing::Values(Firmware{"Version", "1.2.3", "1.2.3"}, Firmware{"Nothing", "", ""},
                    Firmware{"InvalidByte", "1.\xFF.3", "1.\uFFFD.3"},
                    Firmware{"TwoInvalidBytes", "\xFF\xFE", "\uFFFD\uFFFD"},
                    Firmware{"TruncatedSequence", "1\xE2\x82", "1\uFFFD"},
                    Firmware{"TruncatedThenText", "\xF0\x9F\x98!", "\uFFFD!"},
                    Firmware{"Surrogate", "\xED\xA0\x80", "\uFFFD\uFFFD\uFFFD"},
                    Firmware{"Accent", "b\u00EAta", "b\u00EAta"},
                    Firmware{"Null", std::string("1.2\0", 4), std::string("1.2\0", 4)},
                    Firmware{"Brackets", "<1>", "&inf;1&sup;"}),
    caseName);

TEST_F(CorveltaHandler, SendsCalibrationResults) {
  EXPECT_EQ(delivering(charac_corvelta_new_calibration, {0x00}), Entries{message("K;NC;0;")});
  EXPECT_EQ(delivering(charac_corvelta_new_calibration, {0xFF, 9}), Entries{message("K;NC;255;")});
  EXPECT_EQ(delivering(charac_corvelta_erreur_calibration, {0x03}), Entries{message("K;EC;3;")});
  EXPECT_EQ(delivering(charac_corvelta_erreur_calibration, {0xFF, 9}),
            Entries{message("K;EC;255;")});
}

TEST_F(CorveltaHandler, SendsAContractionIn16Then8Then24Bits) {
  EXPECT_EQ(delivering(charac_corvelta_contractions, {1, 2, 3, 4, 5, 6}),
            Entries{message("K;MC;1284;6;197121;")});
}

TEST_F(CorveltaHandler, SendsAContractionUnsigned) {
  EXPECT_EQ(delivering(charac_corvelta_contractions, Bytes(6, 0xFF)),
            Entries{message("K;MC;65535;255;16777215;")});
  EXPECT_EQ(delivering(charac_corvelta_contractions, Bytes(6, 0x00)),
            Entries{message("K;MC;0;0;0;")});
}

TEST_F(CorveltaHandler, PutsEachByteOfAContractionInItsPlace) {
  const std::string expected[] = {"0;0;1;", "0;0;256;", "0;0;65536;",
                                  "1;0;0;", "256;0;0;", "0;1;0;"};
  for (std::size_t i = 0; i < 6; ++i) {
    Bytes record(6);
    record[i] = 1;
    EXPECT_EQ(delivering(charac_corvelta_contractions, record),
              Entries{message("K;MC;" + expected[i])});
  }
}

TEST_F(CorveltaHandler, UsesTheFirstSixBytesOfALongerContraction) {
  EXPECT_EQ(delivering(charac_corvelta_contractions, {1, 2, 3, 4, 5, 6, 7}),
            Entries{message("K;MC;1284;6;197121;")});
}

TEST_F(CorveltaHandler, AnyShorterContractionStopsTheProcess) {
  for (std::size_t length = 0; length < 6; ++length) {
    expectAbort([this, length] { device->deliver(charac_corvelta_contractions, Bytes(length)); });
  }
}

class CorveltaByte : public HandlerTest<ComCorvelta>, public testing::WithParamInterface<CBUUID> {
 protected:
  CorveltaByte() : HandlerTest("Tarvix") {}
};

TEST_P(CorveltaByte, ThatIsMissingStopsTheProcessWithoutALogLine) {
  expectAbort([this] { device->deliver(GetParam(), Bytes{}); });
}

INSTANTIATE_TEST_SUITE_P(, CorveltaByte,
                         testing::Values(charac_batt, charac_corvelta_secteur,
                                         charac_corvelta_new_calibration,
                                         charac_corvelta_erreur_calibration),
                         identifierName);

class AbsentCorveltaValue : public HandlerTest<ComCorvelta>,
                            public testing::WithParamInterface<CBUUID> {
 protected:
  AbsentCorveltaValue() : HandlerTest("Tarvix") {}
};

TEST_P(AbsentCorveltaValue, StopsTheProcess) {
  expectAbort([this] { device->deliverNoValue(GetParam(), &someError); });
}

INSTANTIATE_TEST_SUITE_P(, AbsentCorveltaValue,
                         testing::Values(charac_batt, charac_corvelta_secteur, charac_corvelta_FW,
                                         charac_corvelta_new_calibration,
                                         charac_corvelta_erreur_calibration,
                                         charac_corvelta_contractions),
                         identifierName);

TEST_F(CorveltaHandler, IgnoresOtherValues) {
  EXPECT_EQ(delivering(charac_corvelta_calibration, {1}), Entries{});
  EXPECT_EQ(delivering(charac_tramsel, {}), Entries{});
}

TEST_F(CorveltaHandler, DoesNotLookAtTheErrorOfAValue) {
  EXPECT_EQ(of([this] { device->deliver(charac_batt, {5}, &someError); }),
            Entries{message("C;4;0;5;0;")});
}

}  // namespace
}  // namespace unit
