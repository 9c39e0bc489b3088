// A recording's bytes, and what is left of them when something happens to the file.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "scope/record/Format.h"
#include "scope/record/Lines.h"
#include "scope/record/Reader.h"
#include "scope/record/RecordFile.h"
#include "scope/record/Recorder.h"

namespace scope {
namespace {

namespace fs = std::filesystem;
using namespace std::string_literals;

class Recording : public testing::Test {
 protected:
  Recording() {
    const auto* const info = testing::UnitTest::GetInstance()->current_test_info();
    folder_ =
        fs::temp_directory_path() / ("scope-" + std::to_string(::getpid()) + '-' + info->name());
    fs::create_directories(folder_);
  }
  ~Recording() override { fs::remove_all(folder_); }

  std::string path() const { return folder_ / "recording"; }

  static std::string readFile(const std::string& path) {
    std::ostringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
  }
  void write(const std::string& bytes) const { std::ofstream(path(), std::ios::binary) << bytes; }

  // The bytes of all pieces that can be read.
  std::vector<std::string> pieces() const {
    std::vector<std::string> found;
    RecordingReader reader(path());
    while (const auto piece = reader.next()) found.emplace_back(piece->bytes);
    return found;
  }

  static std::string record(std::string_view bytes, Time time = 1) {
    std::string made;
    appendRecord(made, {Kind::output, time, bytes});
    return made;
  }

  fs::path folder_;
};

using Texts = std::vector<std::string>;

// The bytes that docs/recording.md shows.
TEST_F(Recording, HasTheBytesOfItsDescription) {
  std::string bytes;
  appendRecord(bytes, {Kind::output, 1500000, "<V;3E2E>\n"});
  EXPECT_EQ(bytes, "\x09\0\0\0\x5D\x40\x49 o\x60\xE3\x16\0\0\0\0\0<V;3E2E>\n"s);
}

TEST_F(Recording, GivesBackWhatWasRecorded) {
  const std::string any("\0<>\n\xFF", 5);
  write(std::string(kFormatName) + record("first") + record("") + record(any, -7));
  RecordingReader reader(path());
  EXPECT_EQ(reader.next()->bytes, "first");
  EXPECT_EQ(reader.next()->bytes, "");
  const auto last = reader.next();
  EXPECT_EQ(last->bytes, any);
  EXPECT_EQ(last->time, -7);
  EXPECT_FALSE(reader.next());
  EXPECT_EQ(reader.damaged(), 0U);
}

TEST_F(Recording, SplitsWhatIsLongerThanARecordMayBe) {
  const std::string text(kLongestRecord + 3, 'x');
  write(std::string(kFormatName) + record(text));
  const Texts found = pieces();
  ASSERT_EQ(found.size(), 2U);
  EXPECT_EQ(found[0] + found[1], text);
}

TEST_F(Recording, CanBeReadWhereverItIsCutOff) {
  const std::string whole = std::string(kFormatName) + record("one") + record("two");
  for (std::size_t size = 0; size < whole.size(); ++size) {
    write(whole.substr(0, size));
    const Texts found = pieces();
    const std::size_t first = kFormatName.size() + record("one").size();
    EXPECT_EQ(found, size < first ? Texts{} : Texts{"one"}) << size;
  }
}

TEST_F(Recording, IsRepairedWhereverItIsCutOff) {
  const std::string whole = std::string(kFormatName) + record("one") + record("two");
  for (std::size_t size = 0; size < whole.size(); ++size) {
    write(whole.substr(0, size));
    RecordFile(path()).append(record("next"));
    const Texts found = pieces();
    ASSERT_FALSE(found.empty()) << size;
    EXPECT_EQ(found.back(), "next") << size;
    RecordingReader reader(path());
    while (reader.next()) {
    }
    EXPECT_EQ(reader.damaged(), 0U) << size;
  }
}

TEST_F(Recording, PassesAnyFlippedBitOver) {
  const std::string whole = std::string(kFormatName) + record("one") + record("two") + record("3");
  const std::size_t begin = kFormatName.size() + record("one").size();
  for (std::size_t i = begin; i < begin + record("two").size(); ++i) {
    std::string damaged = whole;
    damaged[i] = static_cast<char>(damaged[i] ^ 0x10);
    write(damaged);
    EXPECT_EQ(pieces(), (Texts{"one", "3"})) << i;
  }
}

TEST_F(Recording, KeepsWhatComesBehindDamageWhenItIsOpenedAgain) {
  std::string damaged = std::string(kFormatName) + record("one") + record("two") + record("3");
  damaged[kFormatName.size() + 18] ^= 1;
  write(damaged);
  RecordFile(path()).append(record("next"));
  EXPECT_EQ(pieces(), (Texts{"two", "3", "next"}));
}

TEST_F(Recording, LosesNothingButZerosThatAPowerCutLeaves) {
  write(std::string(kFormatName) + record("one") + std::string(5000, '\0'));
  RecordFile file(path());
  EXPECT_EQ(file.repaired(), 5000U);
  EXPECT_EQ(file.size(), kFormatName.size() + record("one").size());
}

TEST_F(Recording, RefusesAFileOfAnotherKind) {
  write("a letter to a friend");
  EXPECT_THROW(RecordFile{path()}, std::runtime_error);
  EXPECT_EQ(readFile(path()), "a letter to a friend");
}

TEST_F(Recording, RefusesAFileThatIsRecordedToAlready) {
  const RecordFile first(path());
  EXPECT_THROW(RecordFile{path()}, std::runtime_error);
}

TEST_F(Recording, IsForItsOwnerAlone) {
  const RecordFile file(path());
  struct stat about {};
  ASSERT_EQ(::stat(path().c_str(), &about), 0);
  EXPECT_EQ(about.st_mode & 077U, 0U);
}

TEST_F(Recording, GoesOnInAnEmptyFileWhenItIsFull) {
  constexpr int kCount = 300;
  {
    Recorder recorder(path(), {"bridge"}, 4096);
    for (int i = 0; i < kCount; ++i) {
      recorder.add({Kind::output, i, "a line of the bridge\n"});
      if (i % 100 == 99) std::this_thread::sleep_for(std::chrono::milliseconds(150));
    }
  }
  int found = 0;
  int sessions = 0;
  for (const auto& entry : fs::directory_iterator(folder_)) {
    RecordingReader reader(entry.path());
    EXPECT_EQ(reader.next()->kind, Kind::session);
    ++sessions;
    while (reader.next()) ++found;
  }
  EXPECT_EQ(found, kCount);
  EXPECT_GT(sessions, 1);
  EXPECT_TRUE(fs::exists(path() + ".1"));
}

TEST(Lines, HaveTheTimeAtWhichTheirEndCame) {
  std::vector<std::pair<Time, std::string>> found;
  Lines lines(
      [&](const Piece& piece, const vornix_host::Line&) {
        found.emplace_back(piece.time, std::string(piece.bytes));
      },
      [&](const Piece& piece) { found.emplace_back(piece.time, std::string(piece.bytes)); });
  lines.add({Kind::output, 1, "<V;3E"});
  lines.add({Kind::output, 2, "2E>\n<V;3E2E>\n<Z"});
  lines.add({Kind::input, 3, "FX_"});
  lines.add({Kind::input, 4, "getJson\nki"});
  lines.add({Kind::end, 5, "status 0"});
  using Found = std::vector<std::pair<Time, std::string>>;
  EXPECT_EQ(found, (Found{{2, "<V;3E2E>\n"},
                          {2, "<V;3E2E>\n"},
                          {4, "FX_getJson\n"},
                          {5, "ki"},
                          {2, "<Z"},
                          {5, "status 0"}}));
}

}  // namespace
}  // namespace scope
