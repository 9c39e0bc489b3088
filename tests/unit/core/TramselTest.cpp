#include <gtest/gtest.h>

#include "ComTramsel.h"
#include "GattIdentifiers.h"
#include "tests/unit/core/support/Case.h"
#include "tests/unit/core/support/HandlerTest.h"

namespace unit {
namespace {

using platform::CBUUID;

class TramselHandler : public HandlerTest<ComTramsel> {
 protected:
  TramselHandler() : HandlerTest("Tramsel-12") {}
};

const Bytes kMotion = {0x01, 0x00, 0xFF, 0xFF, 0x34, 0x12, 0xF4, 0xFF, 0x00,
                       0x00, 0xE8, 0x03, 0x7F, 0xFF, 0x00, 0x80, 0xFF, 0x7F};
constexpr char kMotionText[] = "1;-1;4660;-12;0;1000;-129;-32768;32767;";

TEST_F(TramselHandler, BecomesTheDelegateAndDoesNothingElseWhenMade) {
  EXPECT_EQ(of([this] { ComTramsel other(device); }), Entries{on("setDelegate")});
  EXPECT_EQ(handler.peripheral, device);
  EXPECT_EQ(handler.batTramsel, -1);
}

TEST_F(TramselHandler, IsTheDelegateOfItsDevice) {
  EXPECT_EQ(device->delegate(), &handler);
}

TEST_F(TramselHandler, AsksForMotionAndBatteryInTheOrderOfTheServices) {
  EXPECT_EQ(of([this] {
              device->discovered({service_tramsel, service_batt});
            }),
            (Entries{on(discoverCharacteristics({charac_tramsel}, service_tramsel)),
                     on(discoverCharacteristics({charac_batt}, service_batt))}));
  EXPECT_EQ(of([this] {
              device->discovered({service_batt, service_tramsel});
            }),
            (Entries{on(discoverCharacteristics({charac_batt}, service_batt)),
                     on(discoverCharacteristics({charac_tramsel}, service_tramsel))}));
}

TEST_F(TramselHandler, AsksForTheBatteryAloneWhenThatIsAllThereIs) {
  EXPECT_EQ(of([this] { device->discovered({service_batt}); }),
            Entries{on(discoverCharacteristics({charac_batt}, service_batt))});
}

TEST_F(TramselHandler, SendsNothingWithABatteryAlone) {
  HandMadeCharacteristic battery(charac_batt);
  EXPECT_EQ(of([&] {
              device->discovered({service_batt});
              device->discoveredIn({&battery});
              device->deliver(battery, {50});
              device->deliver(battery, {49});
            }),
            (Entries{on(discoverCharacteristics({charac_batt}, service_batt)),
                     on(read(charac_batt)), on(subscribe(charac_batt))}));
}

TEST_F(TramselHandler, PassesOverOtherServices) {
  EXPECT_EQ(of([this] {
              device->discovered({service_info, service_tramsel, service_ilo, service_fenwix});
            }),
            Entries{on(discoverCharacteristics({charac_tramsel}, service_tramsel))});
}

TEST_F(TramselHandler, AsksAgainForAServiceThatIsThereTwice) {
  const auto request = on(discoverCharacteristics({charac_batt}, service_batt));
  EXPECT_EQ(of([this] {
              device->discovered({service_batt, service_batt});
            }),
            (Entries{request, request}));
}

TEST_F(TramselHandler, DoesNothingWithoutServices) {
  EXPECT_EQ(of([this] { device->discovered({}); }), Entries{});
}

TEST_F(TramselHandler, LogsAFailedServiceDiscoveryOnce) {
  EXPECT_EQ(of([this] { device->discoveredNoList(&someError); }),
            Entries{log("erreur de lecture des services " + someErrorPrinted + " de Tramsel-12")});
}

TEST_F(TramselHandler, LogsAnErrorThatComesWithAListAndAsksForNothing) {
  EXPECT_EQ(of([this] {
              device->discovered({service_tramsel, service_batt}, &someError);
            }),
            Entries{log("erreur de lecture des services " + someErrorPrinted + " de Tramsel-12")});
}

TEST_F(TramselHandler, NoListAndNoErrorStopTheProcess) {
  expectAbort([this] { device->discoveredNoList(nullptr); });
}

TEST_F(TramselHandler, AFailedServiceDiscoveryOfANamelessDeviceStopsTheProcess) {
  device->setName(std::nullopt);
  expectAbort([this] { device->discoveredNoList(&someError); });
}

TEST_F(TramselHandler, SubscribesToMotionAndReadsThenSubscribesToTheBattery) {
  HandMadeCharacteristic motion(charac_tramsel);
  HandMadeCharacteristic battery(charac_batt);
  EXPECT_EQ(
      of([&] {
        device->discoveredIn({&motion, &battery});
      }),
      (Entries{on(subscribe(charac_tramsel)), on(read(charac_batt)), on(subscribe(charac_batt))}));
  EXPECT_EQ(
      of([&] {
        device->discoveredIn({&battery, &motion});
      }),
      (Entries{on(read(charac_batt)), on(subscribe(charac_batt)), on(subscribe(charac_tramsel))}));
}

TEST_F(TramselHandler, PassesOverOtherCharacteristics) {
  HandMadeCharacteristic ilo(charac_ilo);
  HandMadeCharacteristic health(charac_batt_heath);
  EXPECT_EQ(of([&] { device->discoveredIn({&ilo, &health}); }), Entries{});
}

TEST_F(TramselHandler, DoesNotLookAtTheErrorOfACharacteristicDiscovery) {
  HandMadeCharacteristic motion(charac_tramsel);
  EXPECT_EQ(of([&] { device->discoveredIn({&motion}, &someError); }),
            Entries{on(subscribe(charac_tramsel))});
  EXPECT_EQ(of([this] { device->discoveredNoListIn(service_tramsel, &someError); }), Entries{});
}

TEST_F(TramselHandler, DoesNothingWithoutCharacteristics) {
  EXPECT_EQ(of([this] { device->discoveredNoListIn(service_tramsel); }), Entries{});
  EXPECT_EQ(of([this] { device->discoveredIn({}); }), Entries{});
}

TEST_F(TramselHandler, SendsMinusOneForABatteryThatIsNotKnownYet) {
  EXPECT_EQ(delivering(charac_tramsel, kMotion),
            Entries{message(std::string("B;-1;") + kMotionText)});
}

TEST_F(TramselHandler, SendsTheBatteryWithTheNextMotionOnly) {
  EXPECT_EQ(delivering(charac_batt, {0x5C}), Entries{});
  EXPECT_EQ(handler.batTramsel, 92);
  EXPECT_EQ(delivering(charac_tramsel, kMotion),
            Entries{message(std::string("B;92;") + kMotionText)});
}

TEST_F(TramselHandler, SendsTheNewestBatteryLevel) {
  delivering(charac_batt, {92});
  delivering(charac_batt, {91});
  EXPECT_EQ(delivering(charac_tramsel, Bytes(18)), Entries{message("B;91;0;0;0;0;0;0;0;0;0;")});
}

TEST_F(TramselHandler, TakesTheBatteryAsAnUnsignedByteAndNoMore) {
  delivering(charac_batt, {0xFF, 0x01, 0x02});
  EXPECT_EQ(handler.batTramsel, 255);
  delivering(charac_batt, {0x00});
  EXPECT_EQ(handler.batTramsel, 0);
}

struct Word : Case {
  std::uint8_t low;
  std::uint8_t high;
  std::string text;
};

class TramselWord : public HandlerTest<ComTramsel>, public testing::WithParamInterface<Word> {
 protected:
  TramselWord() : HandlerTest("Tramsel") {}
};

TEST_P(TramselWord, IsSignedAndLittleEndianInEachOfTheNinePlaces) {
  for (std::size_t place = 0; place < 9; ++place) {
    Bytes value(18);
    value[2 * place] = GetParam().low;
    value[2 * place + 1] = GetParam().high;
    std::string payload = "B;-1;";
    for (std::size_t i = 0; i < 9; ++i) payload += (i == place ? GetParam().text : "0") + ";";
    EXPECT_EQ(delivering(charac_tramsel, value), Entries{message(payload)}) << place;
  }
}

INSTANTIATE_TEST_SUITE_P(
    Of, TramselWord,
    testing::Values(Word{"Zero", 0x00, 0x00, "0"}, Word{"One", 1, 0, "1"},
                    Word{"MinusOne", 0xFF, 0xFF, "-1"}, Word{"Least", 0x00, 0x80, "-32768"},
                    Word{"Most", 0xFF, 0x7F, "32767"}, Word{"LowByteOnly", 0xFF, 0x00, "255"},
                    Word{"HighByteOnly", 0x00, 0xFF, "-256"}, Word{"Mixed", 0x34, 0x12, "4660"}),
    caseName);

TEST_F(TramselHandler, UsesTheFirst18BytesOfALongerMotionValue) {
  Bytes longer = kMotion;
  longer.insert(longer.end(), {0xAA, 0xBB});
  EXPECT_EQ(delivering(charac_tramsel, longer), delivering(charac_tramsel, kMotion));
  longer.resize(512, 0xCC);
  EXPECT_EQ(delivering(charac_tramsel, longer),
            Entries{message(std::string("B;-1;") + kMotionText)});
}

TEST_F(TramselHandler, MotionValueOf17BytesStopsTheProcess) {
  expectAbort([this] { device->deliver(charac_tramsel, Bytes(17)); });
}

TEST_F(TramselHandler, AnyShorterMotionValueStopsTheProcess) {
  for (std::size_t length = 0; length < 17; ++length) {
    expectAbort([this, length] { device->deliver(charac_tramsel, Bytes(length)); });
  }
}

TEST_F(TramselHandler, EmptyBatteryValueStopsTheProcess) {
  expectAbort([this] { device->deliver(charac_batt, Bytes{}); });
}

TEST_F(TramselHandler, AbsentMotionValueStopsTheProcess) {
  expectAbort([this] { device->deliverNoValue(charac_tramsel, &someError); });
}

TEST_F(TramselHandler, AbsentBatteryValueStopsTheProcess) {
  expectAbort([this] { device->deliverNoValue(charac_batt); });
}

TEST_F(TramselHandler, IgnoresOtherValuesWithoutLookingAtThem) {
  EXPECT_EQ(delivering(charac_ilo, {1, 2, 3}), Entries{});
  EXPECT_EQ(of([this] { device->deliverNoValue(charac_batt_heath); }), Entries{});
  EXPECT_EQ(handler.batTramsel, -1);
}

TEST_F(TramselHandler, DoesNotLookAtTheErrorOfAValue) {
  EXPECT_EQ(of([this] { device->deliver(charac_tramsel, kMotion, &someError); }),
            Entries{message(std::string("B;-1;") + kMotionText)});
}

TEST_F(TramselHandler, IgnoresConfirmationsOfSubscriptions) {
  HandMadeCharacteristic motion(charac_tramsel);
  EXPECT_EQ(of([&] {
              device->confirmed(motion);
              device->confirmed(motion, &someError);
            }),
            Entries{});
}

}  // namespace
}  // namespace unit
