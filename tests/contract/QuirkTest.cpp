// What bluetoothd itself does, by its version: the quirks that the bridge has a way round for, so
// that the versions in its comments are those that were seen.
#include "contract/ContractTest.h"
#include "stack/BlueZ.h"
#include "stack/BluetoothStack.h"

namespace contract {
namespace {

using namespace std::chrono_literals;

class QuirkTest : public ContractTest {
 protected:
  QuirkTest() { find(); }

  // How bluetoothd answers when it is asked for the socket of a characteristic's values.
  std::string answerFor(lab::CharacteristicIndex which) {
    return stack::BlueZ().acquire(identifierOf(which), 60s);
  }

  const int version_ = stack::versionOfBluetoothd();
};

TEST_F(QuirkTest, IndicationsHaveASocketSince580) {
  ASSERT_GT(version_, 0);
  EXPECT_EQ(answerFor(kIndicated), version_ >= 80 ? "" : "org.bluez.Error.NotSupported");
}

TEST_F(QuirkTest, RefusedSubscriptionIsAnsweredSince584) {
  ASSERT_GT(version_, 0);
  const std::string answer = answerFor(kRefused);
  if (version_ >= 84) {
    EXPECT_EQ(answer.find("org.bluez.Error."), 0U) << answer;
  } else {
    EXPECT_EQ(answer, stack::BlueZ::kNoAnswer);
  }
}

}  // namespace
}  // namespace contract
