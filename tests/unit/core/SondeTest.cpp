#include <gtest/gtest.h>

#include "ComSonde.h"
#include "GattIdentifiers.h"
#include "tests/unit/core/support/Case.h"
#include "tests/unit/core/support/HandlerTest.h"

namespace unit {
namespace {

using platform::CBUUID;

class IloHandler : public HandlerTest<ComSonde> {
 protected:
  IloHandler() : HandlerTest("ILO-1234") {}
};

class TenovalHandler : public HandlerTest<ComSonde> {
 protected:
  TenovalHandler() : HandlerTest("Tenoval 7") {}
};

struct Model : Case {
  std::string deviceName;
  bool isIlo;
};

class ProbeName : public testing::TestWithParam<Model> {
 protected:
  Journal journal;
};

TEST_P(ProbeName, DecidesTheModelThatIsAnnounced) {
  const auto device = std::make_shared<RecordingPeripheral>(journal, GetParam().deviceName);
  const ComSonde handler(device);
  EXPECT_EQ(handler.isIlo, GetParam().isIlo);
  EXPECT_EQ(handler.batSonde, -1);
  EXPECT_EQ(handler.peripheral, device);
  EXPECT_EQ(device->delegate(), &handler);
  EXPECT_EQ(journal.entries(),
            (Entries{"device.setDelegate", message(GetParam().isIlo ? "C;1;" : "C;2;")}));
}

INSTANTIATE_TEST_SUITE_P(
    Of, ProbeName,
    testing::Values(Model{"UpperIlo", "ILO-1234", true}, Model{"LowerIlo", "ilo-1234", true},
                    Model{"MixedIlo", "iLo", true}, Model{"LongIlo", "Ilotron", true},
                    Model{"DottedIlo", "\u0130LO", false}, Model{"AccentedIlo", "Ilo\u0301", false},
                    Model{"Tenoval", "Tenoval", false}, Model{"Pelko", "Pelko", false},
                    Model{"PelkZero", "PELK0", false}, Model{"Kvaltrin", "Kvaltrin", false},
                    Model{"ShortOfIlo", "il", false}, Model{"BlankFirst", " ilo", false},
                    Model{"LaterIlo", "Tenoval ilo", false}, Model{"DotlessIlo", "\u0131lo", false},
                    Model{"Empty", "", false}),
    caseName);

TEST(ProbeWithoutAName, StopsTheProcess) {
  Journal journal;
  const auto device = std::make_shared<RecordingPeripheral>(journal, std::nullopt);
  expectAbort(journal, [&] { const ComSonde handler(device); });
}

TEST_F(IloHandler, AsksForTheOneCharacteristicOfEachServiceInTheOrderOfTheServices) {
  const auto ilo = on(discoverCharacteristics({charac_ilo}, service_ilo));
  const auto tenoval = on(discoverCharacteristics({charac_tenoval}, service_tenoval));
  const auto battery = on(discoverCharacteristics({charac_batt}, service_batt));
  EXPECT_EQ(of([this] { device->discovered({service_ilo}); }), Entries{ilo});
  EXPECT_EQ(of([this] {
              device->discovered({service_batt, service_tenoval, service_ilo});
            }),
            (Entries{battery, tenoval, ilo}));
}

TEST_F(TenovalHandler, AsksForTheOneCharacteristicOfEachServiceInTheOrderOfTheServices) {
  EXPECT_EQ(of([this] {
              device->discovered({service_batt, service_tenoval});
            }),
            (Entries{on(discoverCharacteristics({charac_batt}, service_batt)),
                     on(discoverCharacteristics({charac_tenoval}, service_tenoval))}));
}

TEST_F(IloHandler, PassesOverOtherServices) {
  EXPECT_EQ(of([this] {
              device->discovered({service_info, service_tramsel, service_fenwix});
            }),
            Entries{});
}

TEST_F(IloHandler, DoesNothingWithoutServices) {
  EXPECT_EQ(of([this] { device->discovered({}); }), Entries{});
}

TEST_F(IloHandler, LogsAFailedServiceDiscoveryOnce) {
  EXPECT_EQ(of([this] { device->discoveredNoList(&someError); }),
            Entries{log("erreur de lecture des services " + someErrorPrinted + " de ILO-1234")});
}

TEST_F(IloHandler, LogsAnErrorThatComesWithAListAndAsksForNothing) {
  EXPECT_EQ(of([this] { device->discovered({service_ilo}, &someError); }),
            Entries{log("erreur de lecture des services " + someErrorPrinted + " de ILO-1234")});
}

TEST_F(IloHandler, NoListAndNoErrorStopTheProcess) {
  expectAbort([this] { device->discoveredNoList(nullptr); });
}

TEST_F(IloHandler, AFailedServiceDiscoveryOfANamelessDeviceStopsTheProcess) {
  device->setName(std::nullopt);
  expectAbort([this] { device->discoveredNoList(&someError); });
}

TEST_F(TenovalHandler, SubscribesToMeasurementsAndReadsThenSubscribesToTheBattery) {
  HandMadeCharacteristic ilo(charac_ilo);
  HandMadeCharacteristic tenoval(charac_tenoval);
  HandMadeCharacteristic battery(charac_batt);
  EXPECT_EQ(of([&] { device->discoveredIn({&ilo}); }), Entries{on(subscribe(charac_ilo))});
  EXPECT_EQ(of([&] { device->discoveredIn({&tenoval}); }), Entries{on(subscribe(charac_tenoval))});
  EXPECT_EQ(of([&] { device->discoveredIn({&battery}); }),
            (Entries{on(read(charac_batt)), on(subscribe(charac_batt))}));
  EXPECT_EQ(of([&] {
              device->discoveredIn({&battery, &tenoval, &ilo});
            }),
            (Entries{on(read(charac_batt)), on(subscribe(charac_batt)),
                     on(subscribe(charac_tenoval)), on(subscribe(charac_ilo))}));
}

TEST_F(TenovalHandler, PassesOverOtherCharacteristics) {
  HandMadeCharacteristic motion(charac_tramsel);
  HandMadeCharacteristic health(charac_batt_heath);
  EXPECT_EQ(of([&] { device->discoveredIn({&motion, &health}); }), Entries{});
}

TEST_F(TenovalHandler, DoesNotLookAtTheErrorOfACharacteristicDiscovery) {
  HandMadeCharacteristic tenoval(charac_tenoval);
  EXPECT_EQ(of([&] { device->discoveredIn({&tenoval}, &someError); }),
            Entries{on(subscribe(charac_tenoval))});
  EXPECT_EQ(of([this] { device->discoveredNoListIn(service_tenoval, &someError); }), Entries{});
}

TEST_F(TenovalHandler, DoesNothingWithoutCharacteristics) {
  EXPECT_EQ(of([this] { device->discoveredNoListIn(service_tenoval); }), Entries{});
  EXPECT_EQ(of([this] { device->discoveredIn({}); }), Entries{});
}

Bytes iloRecord(std::uint8_t low, std::uint8_t high, std::uint8_t battery) {
  return {0xE0, 0xE1, low, high, 0xE4, 0xE5, 0xE6, 0xE7, 0xE8, 0xE9, 0xEA, 0xEB, battery};
}

TEST_F(IloHandler, SendsTheBatteryOfByte12AndTheLittleEndianMeasurement) {
  EXPECT_EQ(delivering(charac_ilo, iloRecord(0x34, 0x12, 0x50)), Entries{message("S;80;4660;0;")});
  EXPECT_EQ(handler.batSonde, 80);
}

TEST_F(IloHandler, SendsUnsignedValues) {
  EXPECT_EQ(delivering(charac_ilo, Bytes(13, 0xFF)), Entries{message("S;255;65535;0;")});
  EXPECT_EQ(delivering(charac_ilo, Bytes(13, 0x00)), Entries{message("S;0;0;0;")});
}

TEST_F(IloHandler, TakesItsBatteryFromEachRecord) {
  delivering(charac_batt, {33});
  EXPECT_EQ(delivering(charac_ilo, iloRecord(1, 0, 34)), Entries{message("S;34;1;0;")});
  EXPECT_EQ(delivering(charac_ilo, iloRecord(2, 0, 35)), Entries{message("S;35;2;0;")});
}

TEST_F(IloHandler, UsesTheFirst13BytesOfALongerRecord) {
  Bytes longer = iloRecord(0x34, 0x12, 0x50);
  longer.insert(longer.end(), 7, 0xFF);
  EXPECT_EQ(delivering(charac_ilo, longer), Entries{message("S;80;4660;0;")});
}

TEST_F(IloHandler, RecordOf12BytesStopsTheProcess) {
  expectAbort([this] { device->deliver(charac_ilo, Bytes(12)); });
}

TEST_F(IloHandler, AnyShorterRecordStopsTheProcess) {
  for (std::size_t length = 0; length < 12; ++length) {
    expectAbort([this, length] { device->deliver(charac_ilo, Bytes(length)); });
  }
}

TEST_F(TenovalHandler, SendsTwoBigEndianMeasurementsWithTheBatteryLastRead) {
  EXPECT_EQ(delivering(charac_tenoval, {0x12, 0x34, 0x00, 0x0A}),
            Entries{message("S;-1;4660;10;")});
  EXPECT_EQ(delivering(charac_batt, {0x5A}), Entries{});
  EXPECT_EQ(delivering(charac_tenoval, {0x12, 0x34, 0x00, 0x0A}),
            Entries{message("S;90;4660;10;")});
}

TEST_F(TenovalHandler, ABatteryValueChangesNothingUntilTheNextMeasurement) {
  EXPECT_EQ(delivering(charac_batt, {90}), Entries{});
  EXPECT_EQ(delivering(charac_batt, {89}), Entries{});
  EXPECT_EQ(handler.batSonde, 89);
  EXPECT_EQ(delivering(charac_tenoval, Bytes(4)), Entries{message("S;89;0;0;")});
}

TEST_F(TenovalHandler, SendsUnsignedValues) {
  delivering(charac_batt, {0xFF});
  EXPECT_EQ(delivering(charac_tenoval, Bytes(4, 0xFF)), Entries{message("S;255;65535;65535;")});
}

TEST_F(TenovalHandler, KeepsTheTwoMeasurementsApart) {
  EXPECT_EQ(delivering(charac_tenoval, {1, 0, 0, 0}), Entries{message("S;-1;256;0;")});
  EXPECT_EQ(delivering(charac_tenoval, {0, 1, 0, 0}), Entries{message("S;-1;1;0;")});
  EXPECT_EQ(delivering(charac_tenoval, {0, 0, 1, 0}), Entries{message("S;-1;0;256;")});
  EXPECT_EQ(delivering(charac_tenoval, {0, 0, 0, 1}), Entries{message("S;-1;0;1;")});
}

TEST_F(TenovalHandler, UsesTheFirstFourBytesOfALongerRecord) {
  EXPECT_EQ(delivering(charac_tenoval, {0x12, 0x34, 0x00, 0x0A, 0xFF, 0xFF}),
            Entries{message("S;-1;4660;10;")});
}

TEST_F(TenovalHandler, AnyShorterRecordStopsTheProcess) {
  for (std::size_t length = 0; length < 4; ++length) {
    expectAbort([this, length] { device->deliver(charac_tenoval, Bytes(length)); });
  }
}

TEST_F(TenovalHandler, EmptyBatteryValueStopsTheProcess) {
  expectAbort([this] { device->deliver(charac_batt, Bytes{}); });
}

class AbsentProbeValue : public HandlerTest<ComSonde>, public testing::WithParamInterface<CBUUID> {
 protected:
  AbsentProbeValue() : HandlerTest("Tenoval") {}
};

TEST_P(AbsentProbeValue, StopsTheProcess) {
  expectAbort([this] { device->deliverNoValue(GetParam(), &someError); });
}

INSTANTIATE_TEST_SUITE_P(, AbsentProbeValue,
                         testing::Values(charac_batt, charac_ilo, charac_tenoval), identifierName);

TEST_F(TenovalHandler, IgnoresOtherValues) {
  EXPECT_EQ(delivering(charac_tramsel, Bytes(18)), Entries{});
  EXPECT_EQ(delivering(charac_batt_heath, {}), Entries{});
  EXPECT_EQ(handler.batSonde, -1);
}

TEST_F(TenovalHandler, DecodesEachModelsRecordWhateverTheName) {
  EXPECT_EQ(delivering(charac_ilo, iloRecord(0x34, 0x12, 0x50)), Entries{message("S;80;4660;0;")});
}

TEST_F(TenovalHandler, DoesNotLookAtTheErrorOfAValue) {
  EXPECT_EQ(of([this] {
              device->deliver(charac_tenoval, {0, 1, 0, 2}, &someError);
            }),
            Entries{message("S;-1;1;2;")});
}

}  // namespace
}  // namespace unit
