// Tramsel, Ilo and Tenoval: their values byte by byte, as in docs/device-values.md.
#include "RecordingLink.h"
#include "lab/models/Models.h"
#include "lab/models/ProbeModels.h"
#include "lab/models/TramselModel.h"

namespace lab {
namespace {

using std::chrono::seconds;

TEST(TramselModel, SendsNineValuesThatContainTheirNumber) {
  Bench<TramselModel> bench;
  bench.subscribe("EF680408-9B35-4933-9B10-52FFA9740042");
  const Values sent = bench.sentBy(seconds(0));
  ASSERT_EQ(sent.size(), 1U);
  EXPECT_EQ(sent[0], "00000000062009300C400F50126015701880");
  EXPECT_EQ(toHex(TramselModel::motion(0x10002)).substr(0, 8), "02000100");
}

TEST(TramselModel, HasABattery) {
  Bench<TramselModel> bench;
  EXPECT_TRUE(bench.has("EF680400-9B35-4933-9B10-52FFA9740042"));
  EXPECT_EQ(bench.read("2A19"), "5C");
}

TEST(IloModel, CarriesTheMeasurementInBytesTwoAndThreeAndTheBatteryInByteTwelve) {
  Bench<IloModel> bench;
  bench.subscribe("23BCDD50-00AC-446D-92B9-07AB6E436AD8");
  EXPECT_TRUE(bench.model_.control("battery 80"));
  EXPECT_EQ(bench.sentBy(seconds(0)), Values{"0000E803000000000000000050"});
  EXPECT_TRUE(bench.model_.control("battery 79"));
  EXPECT_EQ(toHex(IloModel::record(1, 79)), "0100E90401000000000000004F");
  EXPECT_FALSE(bench.model_.control("battery 256"));
  EXPECT_FALSE(bench.has("180F"));
}

TEST(TenovalModel, IsBigEndian) {
  Bench<TenovalModel> bench;
  bench.subscribe("AA41");
  EXPECT_EQ(bench.sentBy(seconds(0)), Values{"0000000A"});
  EXPECT_EQ(toHex(TenovalModel::record(0x1234)).substr(0, 4), "1234");
  EXPECT_EQ(bench.read("2A19"), "5A");
}

TEST(Models, EveryKindHasANameAndATree) {
  for (const DeviceKind* kind : kDeviceKinds) {
    const std::unique_ptr<BenchDevice> device = makeDevice(kind->name);
    ASSERT_NE(device, nullptr) << kind->name;
    EXPECT_FALSE(device->name().empty());
    EXPECT_FALSE(device->services().empty());
  }
  EXPECT_EQ(makeDevice("toaster"), nullptr);
}

TEST(Models, EveryKindIsInTheHelp) {
  const std::string help = withKinds("KIND: %KINDS%.");
  for (const DeviceKind* kind : kDeviceKinds)
    EXPECT_TRUE(help.find(kind->name) != std::string::npos) << help;
  EXPECT_TRUE(help.starts_with("KIND: ") && help.ends_with("."));
}

}  // namespace
}  // namespace lab
