// Longer plays from random bytes: replies in many notifications, the host's input, names, and
// callbacks in any order.
#include <gtest/gtest.h>

#include <cctype>
#include <tuple>
#include <utility>

#include "ComBLE.h"
#include "tests/oracle/Commands.h"
#include "tests/oracle/Draw.h"
#include "tests/oracle/Identifiers.h"
#include "tests/oracle/subject/Plays.h"

namespace oracle {
namespace {

void play(void (*one)(subject::Choices&), Bytes (*draw)(Draw&)) {
  Draw numbers(theRun().seed);
  for (std::uint64_t i = 0; i < theRun().values / 10; ++i) {
    const Bytes bytes = draw(numbers);
    subject::Choices choices(bytes);
    try {
      one(choices);
    } catch (const subject::Difference& difference) {
      FAIL() << "play " << i << " of seed " << theRun().seed << ": "
             << testing::PrintToString(bytes) << '\n'
             << difference.what();
    }
  }
}

Bytes any(Draw& draw) {
  return draw.bytes(draw.below(400));
}

std::string_view textOf(Draw& draw, bool hasArguments) {
  std::vector<std::string_view> texts;
  for (const Command& command : commands()) {
    if ((command.argumentBytes > 0) == hasArguments) texts.push_back(command.text);
  }
  return texts[draw.below(texts.size())];
}

// Input of a host, with mistakes.
Bytes input(Draw& draw) {
  static const std::vector<std::string> numbers = {
      "0",  "255", "256",   "4294967295", "4294967296", "+7",
      "-0", "-1",  "00012", "",           "x",          "99999999999999999999999"};
  static const std::vector<std::string> ends = {"\n", "\n", "\n", "\r\n", "\r", " \n", ""};
  std::string text(1, static_cast<char>(draw.byte()));
  for (auto lines = draw.below(6); lines > 0; --lines) {
    if (draw.oneIn(3)) {
      text += textOf(draw, true);
      for (auto fields = draw.below(5); fields > 0; --fields) {
        text += " " + numbers[draw.below(numbers.size())];
      }
    } else if (draw.oneIn(4)) {
      for (const std::uint8_t each : draw.bytes(draw.below(30))) text += static_cast<char>(each);
    } else {
      text += textOf(draw, false);
    }
    text += ends[draw.below(ends.size())];
  }
  return {text.begin(), text.end()};
}

Bytes names(Draw& draw) {
  return draw.oneIn(2) ? draw.text(draw.below(200)) : any(draw);
}

TEST(Plays, OfValues) {
  play(subject::playValues, any);
}

TEST(Plays, OfReplies) {
  play(subject::playReplies, any);
}

TEST(Plays, OfHostInput) {
  play(subject::playCommands, input);
}

TEST(Plays, OfNames) {
  play(subject::playNames, names);
}

TEST(Plays, OfCallbacksInAnyOrder) {
  play(subject::playCallbacks, any);
}

// The five numbers and the confirmations of the command channel's subscription, in any order.
void playIdentification(subject::Choices& choices) {
  static constexpr std::string_view numbers[] = {characSerial, characModele, characFirmware,
                                                 characHardware, characSystid};
  const std::size_t fenwix = subject::modelOfKind("fenwix");
  subject::Twin twin;
  discover(twin, fenwix);
  while (!choices.atEnd() && !twin.ended()) {
    const std::size_t event = choices.below(8);
    if (event < std::size(numbers)) {
      twin.valueUpdated(fenwix, {subject::placeOf(numbers[event]), 0},
                        Bytes{choices.byte(), 1, 0, 0});
    } else {
      const auto failure = event == 7 ? std::optional(Failure{"D", 1, "no"}) : std::nullopt;
      twin.notificationStateUpdated(fenwix, {subject::placeOf(characCommand), 0}, failure);
    }
  }
}

// Discovered devices and pauses, such that slices end near and exactly at the limit of the scan.
void playScan(subject::Choices& choices) {
  static constexpr double pauses[] = {0, 0.25, 57.75, 58.75, 59, 59.25};
  subject::Twin twin;
  twin.stateUpdated(5);
  while (!choices.atEnd()) {
    const std::size_t event = choices.below(std::size(pauses) + subject::models().size() + 1);
    if (event < std::size(pauses)) {
      twin.secondPassed(pauses[event]);
    } else if (event < std::size(pauses) + subject::models().size()) {
      discover(twin, event - std::size(pauses));
    } else if (choices.below(8) == 1) {
      twin.stateUpdated(5);
    }
  }
}

TEST(Plays, OfIdentification) {
  play(playIdentification, [](Draw& draw) { return draw.bytes(draw.below(30)); });
}

TEST(Plays, OfTheScansEnd) {
  play(playScan, [](Draw& draw) {
    Bytes bytes(draw.below(12));
    for (auto& each : bytes) each = static_cast<std::uint8_t>(draw.below(256));
    return bytes;
  });
}

// The names of a family one after the other, so that a second device of it comes as well.
TEST(Plays, EveryFamilyIsKnownByEachOfItsNames) {
  for (const Family* family : kFamilies) {
    for (const std::string_view beginning : family->beginnings) {
      subject::Twin twin;
      const std::string name(beginning);
      twin.discovered(0, name.substr(0, name.size() - 1));
      twin.discovered(1, name + "-1");
      twin.discovered(2, static_cast<char>(std::toupper(name[0])) + name.substr(1));
      twin.connected(1);
      twin.connected(2);
    }
  }
}

TEST(Plays, TheOracleHasAllFamiliesOfTheCore) {
  EXPECT_EQ(std::tuple_size_v<decltype(std::declval<ComBLE&>().slots())>, std::size(kFamilies));
}

}  // namespace
}  // namespace oracle
