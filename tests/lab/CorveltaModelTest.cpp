#include "lab/models/CorveltaModel.h"

#include "RecordingLink.h"

namespace lab {
namespace {

using std::chrono::seconds;

constexpr const char* kFirmware = "36410EC0-A40F-49AF-AA74-27B875BA8751";
constexpr const char* kMains = "D35386E6-0B1E-453B-963E-9E1F2B527FE7";
constexpr const char* kForcedSleep = "00428317-9AE7-49D7-ADF5-8E295880ACE8";
constexpr const char* kCalibration = "0860AC22-B172-468E-9755-03A53F3C7E40";
constexpr const char* kNewCalibration = "FE5EB478-CC3B-4EF0-B33C-B674B32E0C41";
constexpr const char* kCalibrationError = "60583850-163A-4C00-A0DC-2DFDD223A716";
constexpr const char* kAcquisition = "5B4153A2-3F1C-4DC4-872E-E43265446878";
constexpr const char* kContractions = "5D63AFC1-16D0-4C47-BDB8-39DE23DAF30A";

class CorveltaModelTest : public testing::Test, public Bench<CorveltaModel> {};

TEST_F(CorveltaModelTest, LetsFirmwareMainsAndBatteryBeRead) {
  EXPECT_EQ(read(kFirmware), "322E312E34");
  EXPECT_EQ(read(kMains), "00");
  EXPECT_EQ(read("2A19"), "57");
}

TEST_F(CorveltaModelTest, ReportsMainsPower) {
  subscribe(kMains);
  EXPECT_TRUE(model_.control("mains 1"));
  EXPECT_EQ(sentBy(seconds(0)), Values{"01"});
  EXPECT_EQ(read(kMains), "01");
}

TEST_F(CorveltaModelTest, RecordsContractionsBetweenTheOrders) {
  subscribe(kContractions);
  EXPECT_EQ(sentBy(seconds(0)), Values{});
  EXPECT_EQ(write(kAcquisition, "01"), AttError::none);
  EXPECT_EQ(sentBy(seconds(1)), Values{"000000040506"});
  EXPECT_EQ(sentBy(seconds(2)), (Values{"01000001090D", "020000FE0C14"}));
  EXPECT_EQ(write(kAcquisition, "00"), AttError::none);
  EXPECT_EQ(sentBy(seconds(3)), Values{});
}

TEST_F(CorveltaModelTest, AcquiresOnlyForASubscriber) {
  write(kAcquisition, "01");
  EXPECT_EQ(sentBy(seconds(0)), Values{});
  subscribe(kContractions);
  EXPECT_EQ(sentBy(seconds(1)).size(), 1U);
}

TEST_F(CorveltaModelTest, CalibratesOnOrder) {
  subscribe(kNewCalibration);
  subscribe(kCalibrationError);
  EXPECT_EQ(write(kCalibration, "01"), AttError::none);
  EXPECT_EQ(sentBy(seconds(0)), Values{});
  EXPECT_EQ(write(kCalibration, "00"), AttError::none);
  EXPECT_EQ(sentBy(seconds(1)), Values{"01"});
  EXPECT_EQ(link_.indices_.front(), at(kNewCalibration));
}

TEST_F(CorveltaModelTest, ReportsAnErrorWhenNoCalibrationWasUnderWay) {
  subscribe(kCalibrationError);
  write(kCalibration, "00");
  EXPECT_EQ(sentBy(seconds(0)), Values{"01"});
  EXPECT_EQ(link_.indices_.front(), at(kCalibrationError));
}

TEST_F(CorveltaModelTest, FailsToCalibrateOnDemand) {
  subscribe(kNewCalibration);
  subscribe(kCalibrationError);
  EXPECT_TRUE(model_.control("fault calibration-error=3"));
  write(kCalibration, "01");
  write(kCalibration, "00");
  EXPECT_EQ(sentBy(seconds(0)), Values{"03"});
  EXPECT_EQ(link_.indices_.front(), at(kCalibrationError));
  model_.control("fault clear");
  write(kCalibration, "01");
  write(kCalibration, "00");
  EXPECT_EQ(sentBy(seconds(1)), Values{"01"});
  EXPECT_EQ(link_.indices_.front(), at(kNewCalibration));
}

TEST_F(CorveltaModelTest, ReportsCalibrationsOnDemand) {
  subscribe(kNewCalibration);
  subscribe(kCalibrationError);
  EXPECT_TRUE(model_.control("calibration 200"));
  EXPECT_TRUE(model_.control("calibration-error 4"));
  EXPECT_EQ(sentBy(seconds(0)), (Values{"C8", "04"}));
}

TEST_F(CorveltaModelTest, RefusesInvalidOrders) {
  EXPECT_EQ(write(kCalibration, ""), AttError::invalidValueLength);
  EXPECT_EQ(write(kAcquisition, "0100"), AttError::invalidValueLength);
  EXPECT_EQ(write(kAcquisition, "02"), AttError::unlikely);
  EXPECT_EQ(write(kForcedSleep, "02"), AttError::none);
}

}  // namespace
}  // namespace lab
