#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

#include "ComFenwix.h"
#include "GattIdentifiers.h"
#include "tests/unit/core/support/Case.h"
#include "tests/unit/core/support/HandlerTest.h"

namespace unit {
namespace {

using platform::CBUUID;

class FenwixSetup : public HandlerTest<ComFenwix> {
 protected:
  FenwixSetup() : HandlerTest("Nomsuel A1") {}

  Entries discoveringOne(const CBUUID& uuid) {
    HandMadeCharacteristic characteristic(uuid);
    return of([&] { device->discoveredIn({&characteristic}); });
  }

  Entries confirming(const platform::Error* error = nullptr) {
    return of([&] { device->confirmed(command, error); });
  }

  // The five identification values, in the order in which they are read.
  void deliverIdentification() {
    device->deliver(charac_info_modele, {2, 0, 0, 0});
    device->deliver(charac_info_serial, {0xE2, 0xD4, 0x01, 0x00});
    device->deliver(charac_info_firmware, {0x04, 0x01, 0x00, 0x00});
    device->deliver(charac_info_hardware, {3, 0, 0, 0});
    device->deliver(charac_info_systid, {7, 0, 0, 0});
  }

  HandMadeCharacteristic command{charac_fenwix_command};
};

const std::string kConfirmed = log("didUpdateNotificationStateFor 3A93 : ok");
const std::string kIdentification = message("C;5;0;120034;2;260;3;7;");

TEST_F(FenwixSetup, BecomesTheDelegateAndDoesNothingElseWhenMade) {
  EXPECT_EQ(of([this] { ComFenwix other(device); }), Entries{on("setDelegate")});
}

TEST_F(FenwixSetup, IsTheDelegateOfItsDevice) {
  EXPECT_EQ(device->delegate(), &handler);
}

TEST_F(FenwixSetup, StartsWithNothingKnown) {
  EXPECT_EQ(handler.peripheral, device);
  EXPECT_EQ(handler.characRaw, nullptr);
  EXPECT_EQ(handler.characRaw2, nullptr);
  EXPECT_EQ(handler.characCommand, nullptr);
  EXPECT_EQ(handler.nivBatt, std::nullopt);
  EXPECT_EQ(handler.healthBatt, std::nullopt);
  for (const auto& field :
       {handler.serial, handler.modele, handler.firmWare, handler.hardWare, handler.systId}) {
    EXPECT_EQ(field, std::nullopt);
  }
  EXPECT_EQ(handler.nbLus, 0);
  EXPECT_EQ(handler.nbBytesARecevoir, 0);
  EXPECT_EQ(handler.nbBytesRecus, 0);
  EXPECT_TRUE(handler.buffer.empty());
  EXPECT_EQ(handler.commandeEnCours, 0);
}

const std::string kSignal =
    "device." + discoverCharacteristics(
                    {charac_fenwix_rms, charac_fenwix_rms2, charac_fenwix_raw, charac_fenwix_raw2},
                    service_fenwix);
const std::string kBatteryService =
    "device." + discoverCharacteristics({charac_batt, charac_batt_heath}, service_batt);
const std::string kConfig =
    "device." + discoverCharacteristics({charac_fenwix_command}, service_fenwix_config);
const std::string kInfo =
    "device." +
    discoverCharacteristics({charac_info_modele, charac_info_firmware, charac_info_hardware,
                             charac_info_serial, charac_info_systid},
                            service_info);

TEST_F(FenwixSetup, AsksForTheCharacteristicsOfEachServiceInTheOrderOfTheServices) {
  EXPECT_EQ(
      of([this] {
        device->discovered({service_fenwix, service_batt, service_info, service_fenwix_config});
      }),
      (Entries{kSignal, kBatteryService, kInfo, kConfig}));
  EXPECT_EQ(
      of([this] {
        device->discovered({service_fenwix_config, service_info, service_batt, service_fenwix});
      }),
      (Entries{kConfig, kInfo, kBatteryService, kSignal}));
}

TEST_F(FenwixSetup, AsksAgainForAServiceThatIsThereTwice) {
  EXPECT_EQ(of([this] {
              device->discovered({service_info, service_info});
            }),
            (Entries{kInfo, kInfo}));
}

TEST_F(FenwixSetup, LogsAnUnknownServiceAndGoesOn) {
  EXPECT_EQ(of([this] {
              device->discovered({service_info, service_tenoval, service_fenwix});
            }),
            (Entries{kInfo, log("service inconnu : AA40"), kSignal}));
}

TEST_F(FenwixSetup, LogsAnUnknownServiceByItsWholeIdentifier) {
  EXPECT_EQ(of([this] { device->discovered({service_ilo}); }),
            Entries{log("service inconnu : 85538AF7-9604-4F46-A933-C9E7A9E05748")});
}

TEST_F(FenwixSetup, DoesNothingWithoutServices) {
  EXPECT_EQ(of([this] { device->discovered({}); }), Entries{});
}

TEST_F(FenwixSetup, LogsAFailedServiceDiscoveryOnce) {
  EXPECT_EQ(of([this] { device->discoveredNoList(&someError); }),
            Entries{log("erreur de lecture des services " + someErrorPrinted + " de Nomsuel A1")});
}

TEST_F(FenwixSetup, LogsAnErrorThatComesWithAListAndAsksForNothing) {
  EXPECT_EQ(of([this] {
              device->discovered({service_fenwix, service_ilo}, &someError);
            }),
            Entries{log("erreur de lecture des services " + someErrorPrinted + " de Nomsuel A1")});
}

TEST_F(FenwixSetup, LogsAnErrorThatComesWithAnEmptyList) {
  EXPECT_EQ(of([this] { device->discovered({}, &someError); }),
            Entries{log("erreur de lecture des services " + someErrorPrinted + " de Nomsuel A1")});
}

TEST_F(FenwixSetup, LogsTheNameThatTheDeviceHasByThen) {
  device->setName("Nomsuel B2");
  EXPECT_EQ(of([this] { device->discoveredNoList(&someError); }),
            Entries{log("erreur de lecture des services " + someErrorPrinted + " de Nomsuel B2")});
}

TEST_F(FenwixSetup, NoListAndNoErrorStopTheProcess) {
  expectAbort([this] { device->discoveredNoList(nullptr); });
}

TEST_F(FenwixSetup, AFailedServiceDiscoveryOfANamelessDeviceStopsTheProcess) {
  device->setName(std::nullopt);
  expectAbort([this] { device->discoveredNoList(&someError); });
  expectAbort([this] { device->discovered({service_fenwix}, &someError); });
}

TEST_F(FenwixSetup, SubscribesToTheRmsStreams) {
  EXPECT_EQ(discoveringOne(charac_fenwix_rms), Entries{on(subscribe(charac_fenwix_rms))});
  EXPECT_EQ(discoveringOne(charac_fenwix_rms2), Entries{on(subscribe(charac_fenwix_rms2))});
}

TEST_F(FenwixSetup, KeepsTheRawStreamsWithoutSubscribing) {
  HandMadeCharacteristic raw(charac_fenwix_raw);
  HandMadeCharacteristic raw2(charac_fenwix_raw2);
  EXPECT_EQ(of([&] { device->discoveredIn({&raw}); }), Entries{});
  EXPECT_EQ(handler.characRaw, &raw);
  EXPECT_EQ(handler.characRaw2, nullptr);
  EXPECT_EQ(of([&] { device->discoveredIn({&raw2}); }), Entries{});
  EXPECT_EQ(handler.characRaw, &raw);
  EXPECT_EQ(handler.characRaw2, &raw2);
  EXPECT_EQ(handler.characCommand, nullptr);
}

TEST_F(FenwixSetup, KeepsTheCommandChannelAndSubscribes) {
  EXPECT_EQ(of([this] { device->discoveredIn({&command}); }),
            Entries{on(subscribe(charac_fenwix_command))});
  EXPECT_EQ(handler.characCommand, &command);
}

TEST_F(FenwixSetup, ASecondDiscoveryReplacesWhatWasKept) {
  HandMadeCharacteristic raw[] = {HandMadeCharacteristic(charac_fenwix_raw),
                                  HandMadeCharacteristic(charac_fenwix_raw)};
  HandMadeCharacteristic raw2[] = {HandMadeCharacteristic(charac_fenwix_raw2),
                                   HandMadeCharacteristic(charac_fenwix_raw2)};
  HandMadeCharacteristic other(charac_fenwix_command);
  device->discoveredIn({&raw[0], &raw2[0], &command});
  device->discoveredIn({&raw[1], &raw2[1], &other});
  EXPECT_EQ(handler.characRaw, &raw[1]);
  EXPECT_EQ(handler.characRaw2, &raw2[1]);
  EXPECT_EQ(handler.characCommand, &other);
}

TEST_F(FenwixSetup, ReadsThenSubscribesToTheBatteryLevel) {
  EXPECT_EQ(discoveringOne(charac_batt),
            (Entries{on(read(charac_batt)), on(subscribe(charac_batt))}));
}

TEST_F(FenwixSetup, ReadsTheBatteryHealthOnly) {
  EXPECT_EQ(discoveringOne(charac_batt_heath), Entries{on(read(charac_batt_heath))});
}

TEST_F(FenwixSetup, ReadsTheIdentificationValues) {
  for (const CBUUID& uuid : {charac_info_modele, charac_info_serial, charac_info_firmware,
                             charac_info_hardware, charac_info_systid}) {
    EXPECT_EQ(discoveringOne(uuid), Entries{on(read(uuid))});
  }
}

TEST_F(FenwixSetup, PassesOverOtherCharacteristicsSilently) {
  for (const CBUUID& uuid : {charac_ilo, charac_tramsel, CBUUID::UUIDWithString("2A26")}) {
    EXPECT_EQ(discoveringOne(uuid), Entries{});
  }
}

TEST_F(FenwixSetup, ActsInTheOrderOfTheCharacteristicsWhateverTheirService) {
  HandMadeCharacteristic systid(charac_info_systid);
  HandMadeCharacteristic unknown(charac_ilo);
  HandMadeCharacteristic battery(charac_batt);
  HandMadeCharacteristic rms(charac_fenwix_rms);
  EXPECT_EQ(
      of([&] {
        device->discoveredIn({&systid, &unknown, &battery, &command, &rms});
      }),
      (Entries{on(read(charac_info_systid)), on(read(charac_batt)), on(subscribe(charac_batt)),
               on(subscribe(charac_fenwix_command)), on(subscribe(charac_fenwix_rms))}));
}

TEST_F(FenwixSetup, DoesNotLookAtTheErrorOfACharacteristicDiscovery) {
  HandMadeCharacteristic battery(charac_batt);
  EXPECT_EQ(of([&] {
              device->discoveredIn({&battery, &command}, &someError);
            }),
            (Entries{on(read(charac_batt)), on(subscribe(charac_batt)),
                     on(subscribe(charac_fenwix_command))}));
  EXPECT_EQ(handler.characCommand, &command);
}

TEST_F(FenwixSetup, DoesNothingWithoutCharacteristics) {
  EXPECT_EQ(of([this] { device->discoveredNoListIn(service_info, &someError); }), Entries{});
  EXPECT_EQ(of([this] { device->discoveredNoListIn(service_info); }), Entries{});
  EXPECT_EQ(of([this] { device->discoveredIn({}); }), Entries{});
}

TEST_F(FenwixSetup, IgnoresConfirmationsOfOtherSubscriptions) {
  for (const CBUUID& uuid : {charac_fenwix_rms, charac_fenwix_rms2, charac_batt, charac_fenwix_raw,
                             charac_fenwix_raw2}) {
    HandMadeCharacteristic characteristic(uuid);
    EXPECT_EQ(of([&] { device->confirmed(characteristic); }), Entries{});
    EXPECT_EQ(of([&] { device->confirmed(characteristic, &someError); }), Entries{});
  }
  EXPECT_EQ(handler.nbLus, 0);
}

TEST_F(FenwixSetup, LogsAndCountsTheConfirmationOfTheCommandChannel) {
  EXPECT_EQ(confirming(), Entries{kConfirmed});
  EXPECT_EQ(handler.nbLus, 1);
}

TEST_F(FenwixSetup, LogsARefusalOfTheCommandChannelAndDoesNotCountIt) {
  EXPECT_EQ(confirming(&someError),
            Entries{log("didUpdateNotificationStateFor 3A93 : Erreur : Unlikely error.")});
  EXPECT_EQ(handler.nbLus, 0);
}

TEST_F(FenwixSetup, IsNeverIdentifiedWithoutTheCommandChannel) {
  confirming(&someError);
  EXPECT_EQ(of([this] { deliverIdentification(); }), Entries{});
  EXPECT_EQ(handler.nbLus, 5);
}

TEST_F(FenwixSetup, IsIdentifiedAtTheConfirmationThatFollowsTheFiveValues) {
  EXPECT_EQ(of([this] { deliverIdentification(); }), Entries{});
  EXPECT_EQ(confirming(), (Entries{kConfirmed, kIdentification}));
}

TEST_F(FenwixSetup, IsIdentifiedAtTheFifthValueThatFollowsTheConfirmation) {
  confirming();
  device->deliver(charac_info_systid, {7, 0, 0, 0});
  device->deliver(charac_info_modele, {2, 0, 0, 0});
  device->deliver(charac_info_hardware, {3, 0, 0, 0});
  EXPECT_EQ(delivering(charac_info_serial, {0xE2, 0xD4, 0x01, 0x00}), Entries{});
  EXPECT_EQ(delivering(charac_info_firmware, {0x04, 0x01, 0x00, 0x00}), Entries{kIdentification});
}

TEST_F(FenwixSetup, IsIdentifiedOnceOnly) {
  deliverIdentification();
  confirming();
  EXPECT_EQ(confirming(), Entries{kConfirmed});
  EXPECT_EQ(handler.nbLus, 7);
  EXPECT_EQ(of([this] { deliverIdentification(); }), Entries{});
  EXPECT_EQ(confirming(), Entries{kConfirmed});
  EXPECT_EQ(handler.nbLus, 8);
}

TEST_F(FenwixSetup, IsIdentifiedAgainByARefusalWhileTheCountStandsAtSix) {
  deliverIdentification();
  confirming();
  EXPECT_EQ(confirming(&someError),
            (Entries{log("didUpdateNotificationStateFor 3A93 : Erreur : Unlikely error."),
                     kIdentification}));
}

TEST_F(FenwixSetup, SendsUnsignedIdentificationNumbers) {
  for (const CBUUID& uuid : {charac_info_modele, charac_info_serial, charac_info_firmware,
                             charac_info_hardware, charac_info_systid}) {
    device->deliver(uuid, Bytes(4, 0xFF));
  }
  EXPECT_EQ(confirming(), (Entries{kConfirmed, message("C;5;0;4294967295;4294967295;4294967295;"
                                                       "4294967295;4294967295;")}));
}

TEST_F(FenwixSetup, SendsZerosAsTheyAre) {
  for (const CBUUID& uuid :
       {charac_info_modele, charac_info_firmware, charac_info_hardware, charac_info_systid}) {
    device->deliver(uuid, Bytes(4));
  }
  device->deliver(charac_info_serial, {1, 0, 0, 0});
  EXPECT_EQ(confirming(), (Entries{kConfirmed, message("C;5;0;1;0;0;0;0;")}));
}

struct MissingField : Case {
  std::optional<std::uint32_t> ComFenwix::*field;
};

class FenwixCountOfSix : public FenwixSetup, public testing::WithParamInterface<MissingField> {};

TEST_P(FenwixCountOfSix, WithAFieldStillMissingStopsTheProcess) {
  for (const auto field : {&ComFenwix::serial, &ComFenwix::modele, &ComFenwix::firmWare,
                           &ComFenwix::hardWare, &ComFenwix::systId}) {
    if (field != GetParam().field) handler.*field = 1;
  }
  handler.nbLus = 6;
  expectAbort([this] { handler.verifConnection(); });
}

INSTANTIATE_TEST_SUITE_P(, FenwixCountOfSix,
                         testing::Values(MissingField{"Serial", &ComFenwix::serial},
                                         MissingField{"Modele", &ComFenwix::modele},
                                         MissingField{"FirmWare", &ComFenwix::firmWare},
                                         MissingField{"HardWare", &ComFenwix::hardWare},
                                         MissingField{"SystId", &ComFenwix::systId}),
                         caseName);

TEST_F(FenwixSetup, ASecondConfirmationBeforeTheFifthValueStopsTheProcessAfterItsLogLine) {
  device->deliver(charac_info_modele, {2, 0, 0, 0});
  device->deliver(charac_info_serial, {1, 0, 0, 0});
  device->deliver(charac_info_firmware, {4, 0, 0, 0});
  device->deliver(charac_info_hardware, {3, 0, 0, 0});
  confirming();
  expectAbort([this] { device->confirmed(command); }, {kConfirmed});
}

TEST_F(FenwixSetup, ReportsNothingAtAnyOtherCount) {
  deliverIdentification();
  for (const std::int64_t count : {-1, 0, 1, 5, 7, 12}) {
    handler.nbLus = count;
    EXPECT_EQ(of([this] { handler.verifConnection(); }), Entries{}) << count;
  }
}

TEST_F(FenwixSetup, AnOverflowOfTheCountByAConfirmationStopsTheProcess) {
  handler.nbLus = std::numeric_limits<std::int64_t>::max();
  expectAbort([this] { device->confirmed(command); });
}

TEST_F(FenwixSetup, AnOverflowOfTheCountByAValueStopsTheProcess) {
  handler.nbLus = std::numeric_limits<std::int64_t>::max();
  expectAbort([this] { device->deliver(charac_info_modele, {2, 0, 0, 0}); });
}

}  // namespace
}  // namespace unit
