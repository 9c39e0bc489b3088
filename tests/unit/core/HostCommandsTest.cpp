#include "HostCommands.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <thread>

#include "GattIdentifiers.h"
#include "tests/unit/core/support/BridgeTest.h"
#include "tests/unit/core/support/Case.h"

namespace unit {
namespace {

class HostCommands : public BridgeTest {
 protected:
  // A Corvelta and a Fenwix, all their characteristics discovered.
  void findDevices() {
    found("Tarvix")->discoveredIn({&calibration, &acquisition});
    found("Nomsuel")->discoveredIn({&raw, &raw2, &command});
    journal.clear();
  }

  Entries commanding(const std::string& line) {
    return of([&] { handleHostCommand(comBLE, line); });
  }

  void expectStop(const std::string& line, const std::string& logged,
                  Place where = Place::current()) {
    expectAbort(
        journal, [&] { handleHostCommand(comBLE, line); }, {log(logged)}, where);
  }

  HandMadeCharacteristic calibration{charac_corvelta_calibration};
  HandMadeCharacteristic acquisition{charac_corvelta_acquisition};
  HandMadeCharacteristic raw{charac_fenwix_raw};
  HandMadeCharacteristic raw2{charac_fenwix_raw2};
  HandMadeCharacteristic command{charac_fenwix_command};
};

struct Command : Case {
  std::string line;
  std::string logged;
  std::string call;
};

class HostCommand : public HostCommands, public testing::WithParamInterface<Command> {};

TEST_P(HostCommand, IsLoggedThenCarriedOut) {
  findDevices();
  EXPECT_EQ(commanding(GetParam().line), (Entries{log(GetParam().logged), GetParam().call}));
}

TEST_P(HostCommand, CanBeRepeated) {
  findDevices();
  const Entries once = commanding(GetParam().line);
  EXPECT_EQ(commanding(GetParam().line), once);
}

TEST_P(HostCommand, BeforeItsDeviceIsFoundStopsTheProcessAfterItsLogLine) {
  expectStop(GetParam().line, GetParam().logged);
}

TEST_P(HostCommand, WithTheOtherDevicesOnlyStopsTheProcessAfterItsLogLine) {
  const bool isForCorvelta = GetParam().line.starts_with("CV_");
  found("Tramsel");
  found("Ilo");
  found(isForCorvelta ? "Nomsuel" : "Tarvix")
      ->discoveredIn({&raw, &raw2, &command, &calibration, &acquisition});
  expectStop(GetParam().line, GetParam().logged);
}

TEST_P(HostCommand, BeforeItsCharacteristicIsDiscoveredStopsTheProcessAfterItsLogLine) {
  found("Tarvix");
  found("Nomsuel");
  expectStop(GetParam().line, GetParam().logged);
}

TEST_P(HostCommand, WithAllOtherCharacteristicsStopsTheProcessAfterItsLogLine) {
  const auto corvelta = found("Tarvix");
  const auto fenwix = found("Nomsuel");
  const auto used = [](const HandMadeCharacteristic& one) {
    return GetParam().call.find(" " + one.label()) != std::string::npos;
  };
  for (auto* one : {&calibration, &acquisition}) {
    if (!used(*one)) corvelta->discoveredIn({one});
  }
  for (auto* one : {&raw, &raw2, &command}) {
    if (!used(*one)) fenwix->discoveredIn({one});
  }
  expectStop(GetParam().line, GetParam().logged);
}

INSTANTIATE_TEST_SUITE_P(
    , HostCommand,
    testing::Values(Command{"StartCalibration", "CV_debutCalib", "cde : start CV calibration",
                            "Tarvix." + write("01", charac_corvelta_calibration)},
                    Command{"StopCalibration", "CV_finCalib", "cde : stop CV calibration",
                            "Tarvix." + write("00", charac_corvelta_calibration)},
                    Command{"StartAcquisition", "CV_debutAcquisition", "cde : start CV acquisition",
                            "Tarvix." + write("01", charac_corvelta_acquisition)},
                    Command{"StopAcquisition", "CV_finAcquisition", "cde : stop CV acquistion",
                            "Tarvix." + write("00", charac_corvelta_acquisition)},
                    Command{"StartRaw", "FX_startRaw", "cde : start raw",
                            "Nomsuel." + subscribe(charac_fenwix_raw)},
                    Command{"StopRaw", "FX_stopRaw", "cde : stop raw",
                            "Nomsuel." + unsubscribe(charac_fenwix_raw)},
                    Command{"StartRaw2", "FX_startRaw2", "cde : start raw 2",
                            "Nomsuel." + subscribe(charac_fenwix_raw2)},
                    Command{"StopRaw2", "FX_stopRaw2", "cde : stop raw 2",
                            "Nomsuel." + unsubscribe(charac_fenwix_raw2)},
                    Command{"GetJson", "FX_getJson", "cde : get json",
                            "Nomsuel." + write("130000", charac_fenwix_command)},
                    Command{"WriteInt", "FX_cmdWriteInt 12 100000", "cde : Fenwix Cmd Write Int",
                            "Nomsuel." + write("0C0400A0860100", charac_fenwix_command)},
                    Command{"WriteByte", "FX_cmdWriteByte 7 1", "cde : Fenwix Cmd Write Byte",
                            "Nomsuel." + write("07010001", charac_fenwix_command)}),
    caseName);

struct Unknown : Case {
  std::string line;
};

class UnknownCommand : public HostCommands, public testing::WithParamInterface<Unknown> {};

TEST_P(UnknownCommand, IsLoggedAsReadAndNothingElse) {
  findDevices();
  EXPECT_EQ(commanding(GetParam().line),
            Entries{log("commande recue non traitee : " + GetParam().line)});
}

INSTANTIATE_TEST_SUITE_P(
    , UnknownCommand,
    testing::Values(Unknown{"Empty", ""}, Unknown{"Blank", " "}, Unknown{"KillAndBlank", "kill "},
                    Unknown{"BlankAndKill", " kill"}, Unknown{"CapitalKill", "Kill"},
                    Unknown{"KillAndReturn", "kill\r"}, Unknown{"MoreThanKill", "killall"},
                    Unknown{"LowerCase", "fx_getjson"}, Unknown{"StartRawAndBlank", "FX_startRaw "},
                    Unknown{"StartRaw3", "FX_startRaw3"},
                    Unknown{"JsonWithArgument", "FX_getJson 1"},
                    Unknown{"CalibWithArgument", "CV_debutCalib 1"},
                    Unknown{"ShortCalib", "CV_debutCali"},
                    Unknown{"WriteIntLowerCase", "FX_cmdwriteInt 1 2"},
                    Unknown{"BlankAndWriteInt", " FX_cmdWriteInt 1 2"},
                    Unknown{"WriteWithoutType", "FX_cmdWrite 1 2"},
                    Unknown{"LogText", "cde : kill"}, Unknown{"Accent", "d\u00E9marrer"},
                    Unknown{"NoUtf8", "\xFF\xFE"}, Unknown{"Null", std::string("kill\0", 5)}),
    caseName);

TEST_F(HostCommands, EscapeAnUnknownLineInTheLog) {
  EXPECT_EQ(commanding("<kill>"), Entries{log("commande recue non traitee : &inf;kill&sup;")});
}

TEST_F(HostCommands, NeedNoDeviceForAnUnknownLine) {
  EXPECT_EQ(commanding("x"), Entries{log("commande recue non traitee : x")});
}

TEST_F(HostCommands, EndTheProcessOnKill) {
  expectEnd(journal, [this] { handleHostCommand(comBLE, "kill"); }, {log("cde : kill")});
}

constexpr char kInt[] = "cde : Fenwix Cmd Write Int";
constexpr char kByte[] = "cde : Fenwix Cmd Write Byte";

struct Arguments : Case {
  std::string arguments;  // the rest of the line after the command's name
  std::string frame;      // the frame expected to be written; empty: the process stops
};

class CommandArguments : public HostCommands, public testing::WithParamInterface<Arguments> {
 protected:
  void expectResult(const std::string& text, const std::string& logged) {
    findDevices();
    const std::string line = text + GetParam().arguments;
    if (GetParam().frame.empty()) {
      expectStop(line, logged);
    } else {
      EXPECT_EQ(
          commanding(line),
          (Entries{log(logged), "Nomsuel." + write(GetParam().frame, charac_fenwix_command)}));
    }
  }
};

class IntArguments : public CommandArguments {};
class ByteArguments : public CommandArguments {};

TEST_P(IntArguments, AreWrittenOrStopTheProcess) {
  expectResult("FX_cmdWriteInt", kInt);
}

TEST_P(ByteArguments, AreWrittenOrStopTheProcess) {
  expectResult("FX_cmdWriteByte", kByte);
}

Arguments good(std::string name, std::string arguments, std::string frame) {
  return {{std::move(name)}, std::move(arguments), std::move(frame)};
}

Arguments bad(std::string name, std::string arguments) {
  return {{std::move(name)}, std::move(arguments), ""};
}

INSTANTIATE_TEST_SUITE_P(
    ThatFit, IntArguments,
    testing::Values(good("Usual", " 12 100000", "0C0400A0860100"),
                    good("Greatest", " 3 4294967295", "030400FFFFFFFF"),
                    good("GreatestBoth", " 255 4294967295", "FF0400FFFFFFFF"),
                    good("Least", " 0 0", "00040000000000"),
                    good("Plus", " +3 +4", "03040004000000"),
                    good("MinusZero", " -0 -0", "00040000000000"),
                    good("MinusManyZeros", " -000 -0000", "00040000000000"),
                    good("LeadingZeros", " 0003 0000000000000000000000004", "03040004000000"),
                    good("MoreFields", " 3 4 x 9999999999", "03040004000000"),
                    good("BlankAtTheEnd", " 3 4 ", "03040004000000"),
                    good("OtherWord", "X 1 2", "01040002000000"),
                    good("OtherWordWithPunctuation", ";-1 1 2", "01040002000000")),
    caseName);

INSTANTIATE_TEST_SUITE_P(ThatFit, ByteArguments,
                         testing::Values(good("Usual", " 7 1", "07010001"),
                                         good("Greatest", " 255 255", "FF0100FF"),
                                         good("Least", " 0 0", "00010000"),
                                         good("Plus", " +255 +255", "FF0100FF"),
                                         good("MinusZero", " -0 -0", "00010000"),
                                         good("LeadingZeros", " 000255 0000000255", "FF0100FF"),
                                         good("MoreFields", " 3 4 5", "03010004"),
                                         good("OtherWord", "s 1 2", "01010002")),
                         caseName);

const auto kNumbersThatNeverFit = testing::Values(
    bad("NoFields", ""), bad("BlankOnly", " "), bad("OneField", " 3"), bad("OneFieldBlank", " 3 "),
    bad("TwoBlanksFirst", "  3 4"), bad("TwoBlanksBetween", " 3  4"), bad("TabsBetween", "\t3\t4"),
    bad("TabFirst", " \t3 4"), bad("CommandTooGreat", " 256 1"),
    bad("CommandFarTooGreat", " 300 1"), bad("CommandHuge", " 99999999999999999999999999 1"),
    bad("CommandOf64BitsAndOne", " 18446744073709551617 1"), bad("CommandNegative", " -1 1"),
    bad("ValueNegative", " 1 -1"), bad("ValueTooGreat", " 1 4294967296"),
    bad("ValueOf64BitsAndOne", " 1 18446744073709551617"),
    bad("ValueHuge", " 1 99999999999999999999999999"), bad("ValueHugeNegative", " 1 -4294967296"),
    bad("Letter", " a 1"), bad("LetterAfterDigit", " 1a 1"), bad("ValueLetter", " 1 b"),
    bad("ValueLetterAfterDigit", " 1 2b"), bad("Hexadecimal", " 0x1 1"), bad("Decimal", " 1 2.0"),
    bad("Exponent", " 1 1e1"), bad("PlusAlone", " + 1"), bad("MinusAlone", " 1 -"),
    bad("TwoPluses", " ++1 1"), bad("PlusMinus", " +-0 1"), bad("MinusPlus", " -+0 1"),
    bad("BelowTheDigits", " 1/ 1"), bad("AboveTheDigits", " 1: 1"),
    bad("ValueAboveTheDigits", " 1 :"), bad("SignAfterDigit", " 1+ 1"),
    bad("Underscore", " 1 1_000"), bad("Comma", " 1,2 3"), bad("ReturnAtTheEnd", " 1 2\r"),
    bad("Null", std::string(" 1 2\0", 5)), bad("ArabicDigit", " 1 \u0661"),
    bad("NoBreakSpace", " 1\u00A02"), bad("NoUtf8", " 1 \xFF"));

INSTANTIATE_TEST_SUITE_P(ThatDoNotFit, IntArguments, kNumbersThatNeverFit, caseName);
INSTANTIATE_TEST_SUITE_P(ThatDoNotFit, ByteArguments, kNumbersThatNeverFit, caseName);
INSTANTIATE_TEST_SUITE_P(ThatDoNotFitAByte, ByteArguments,
                         testing::Values(bad("Above", " 3 256"), bad("FarAbove", " 3 4294967295")),
                         caseName);

class Reader : public HostCommands {
 protected:
  void expectLines(const std::string& input, const Entries& lines, Place where = Place::current()) {
    expectEnd(
        journal,
        [&] {
          replaceStandardInput(input);
          readHostCommands(comBLE, isRunning);
        },
        lines, where);
  }

  static std::string unknown(const std::string& line) {
    return log("commande recue non traitee : " + line);
  }

  std::atomic<bool> isRunning = true;
};

TEST_F(Reader, EndsTheProcessAtTheEndOfInputWithoutALogLine) {
  expectLines("", {});
}

TEST_F(Reader, EndsTheProcessOnKillWithoutReadingOn) {
  expectLines("kill\nkill\n", {log("cde : kill")});
}

TEST_F(Reader, TakesKillWithCarriageReturnAndLineFeed) {
  expectLines("kill\r\nx\n", {log("cde : kill")});
}

TEST_F(Reader, HandlesALastLineWithoutALineFeed) {
  expectLines("x\ny", {unknown("x"), unknown("y")});
  expectLines("kill", {log("cde : kill")});
}

TEST_F(Reader, TakesALastLineThatEndsInAReturnAloneAsItIs) {
  expectLines("kill\r", {unknown("kill\r")});
}

TEST_F(Reader, RemovesOneLineEndOnly) {
  expectLines("x\r\r\n", {unknown("x\r")});
  expectLines("a\rb\n", {unknown("a\rb")});
}

TEST_F(Reader, TakesEmptyLinesAsUnknownCommands) {
  expectLines("\n\r\n\n", {unknown(""), unknown(""), unknown("")});
}

TEST_F(Reader, KeepsNullCharactersWithinALine) {
  const std::string line("a\0b", 3);
  expectLines(line + "\n", {unknown(line)});
}

TEST_F(Reader, TakesALineOfAnyLength) {
  const std::string line(1'000'000, 'x');
  expectLines(line + "\nkill\n", {unknown(line), log("cde : kill")});
}

TEST_F(Reader, HandlesNoLineOnceIsRunningIsFalse) {
  isRunning = false;
  expectLines("x\nkill\n", {});
}

TEST_F(Reader, CarriesOutCommandsInTheirOrder) {
  findDevices();
  expectLines(
      "FX_startRaw\nCV_debutCalib\r\nFX_cmdWriteByte 7 1\nkill\n",
      {log("cde : start raw"), "Nomsuel." + subscribe(charac_fenwix_raw),
       log("cde : start CV calibration"), "Tarvix." + write("01", charac_corvelta_calibration),
       log(kByte), "Nomsuel." + write("07010001", charac_fenwix_command), log("cde : kill")});
}

TEST_F(Reader, StopsTheProcessAtACommandThatCannotBeCarriedOut) {
  expectAbort(journal,
              [this] {
                replaceStandardInput("FX_getJson\nkill\n");
                readHostCommands(comBLE, isRunning);
              },
              {log("cde : get json")});
}

class HostThatSendsNothing : public Reader {
 protected:
  // Runs in a child process, since standard input belongs to the whole process.
  void expectAnswer(bool answer, const std::function<void()>& prepareInput) {
    EXPECT_EXIT(
        {
          prepareInput();
          std::_Exit(hostSendsNothing() ? 1 : 0);
        },
        testing::ExitedWithCode(answer ? 1 : 0), testing::Eq(""));
  }
};

TEST_F(HostThatSendsNothing, IsKnownByTheEndOfItsInput) {
  expectAnswer(true, [] { replaceStandardInput(""); });
}

TEST_F(HostThatSendsNothing, IsKnownByAPipeThatIsClosed) {
  expectAnswer(true, [] {
    int ends[2];
    if (pipe(ends) != 0 || dup2(ends[0], STDIN_FILENO) < 0) std::abort();
    close(ends[1]);
  });
}

TEST_F(HostThatSendsNothing, IsKnownByAnInputThatIsNotThere) {
  expectAnswer(true, [] { close(STDIN_FILENO); });
}

TEST_F(HostThatSendsNothing, IsNotOneThatHasSentSomething) {
  expectAnswer(false, [] { replaceStandardInput("\n"); });
}

TEST_F(HostThatSendsNothing, IsNotWaitedFor) {
  expectAnswer(false, [] {
    int ends[2];
    if (pipe(ends) != 0 || dup2(ends[0], STDIN_FILENO) < 0) std::abort();
  });
}

TEST_F(HostThatSendsNothing, IsLookedForWithoutConsumingInput) {
  expectEnd(journal,
            [this] {
              replaceStandardInput("bonjour\n\nkill\n");
              if (hostSendsNothing()) std::abort();
              readHostCommands(comBLE, isRunning);
            },
            {unknown("bonjour"), unknown(""), log("cde : kill")});
}

// The reader thread uses handlers and characteristics once the main thread has published them.
TEST_F(HostCommands, WorkOnTheirThreadWhileTheMainThreadDiscoversDevices) {
  std::thread reader([this] {
    while (!comBLE.comFenwix || comBLE.comFenwix.get()->characCommand == nullptr) {
      std::this_thread::yield();
    }
    handleHostCommand(comBLE, "FX_getJson");
    while (!comBLE.comCorvelta || comBLE.comCorvelta.get()->charac_acquisition == nullptr) {
      std::this_thread::yield();
    }
    handleHostCommand(comBLE, "CV_debutAcquisition");
    handleHostCommand(comBLE, "FX_cmdWriteByte 7 1");
  });
  const auto fenwix = found("Nomsuel");
  fenwix->discoveredIn({&raw, &raw2, &command});
  const auto corvelta = found("Tarvix");
  corvelta->discoveredIn({&calibration, &acquisition});
  for (int i = 0; i < 100; ++i) fenwix->deliver(charac_fenwix_raw, {0x01});
  reader.join();

  const Entries entries = journal.take();
  const auto countOf = [&entries](const std::string& one) {
    return std::count(entries.begin(), entries.end(), one);
  };
  EXPECT_EQ(countOf("Nomsuel." + write("130000", charac_fenwix_command)), 1);
  EXPECT_EQ(countOf("Tarvix." + write("01", charac_corvelta_acquisition)), 1);
  EXPECT_EQ(countOf("Nomsuel." + write("07010001", charac_fenwix_command)), 1);
  EXPECT_EQ(countOf(message("PR1;01;")), 100);
}

}  // namespace
}  // namespace unit
