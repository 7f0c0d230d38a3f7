#include "base/log.h"

#include <gtest/gtest.h>

#include "base/files.h"
#include "base/text.h"
#include "tests/base/temp_folder.h"
#include "tests/fakes/fake_clock.h"

namespace orventa {
namespace {

class LogTest : public testing::Test {
 protected:
  // Other tests may have left lines behind.
  LogTest() { CloseLog(); }
  ~LogTest() override { CloseLog(); }

  void Open() { OpenLog(clock_, path_); }
  std::string File() { return ReadBytes(path_); }
  std::vector<std::string> Lines() {
    const std::string text = File();
    EXPECT_TRUE(text.ends_with('\n'));
    std::vector<std::string> lines;
    for (const std::string_view line : Split(text, '\n')) lines.emplace_back(line);
    lines.pop_back();
    return lines;
  }

  FakeClock clock_;
  TempFolder folder_;
  const std::string path_ = folder_ / "ORVENTA.log";
};

TEST_F(LogTest, LinesHaveTheirExactForm) {
  Open();
  LogInfo("start: version=%s window=%d", "1.2", 0);
  clock_.RunFor(3'723'004 * kNsPerMs);
  LogWarning("100%% of\ntwo\r\nlines");
  LogError("%s", "");
  EXPECT_EQ(File(),
            "--- 17-05-2024 ---\n"
            "12:00:00.000  INFO   start: version=1.2 window=0\n"
            "13:02:03.004  WARN   100% of two  lines\n"
            "13:02:03.004  ERROR  \n");
  EXPECT_FALSE(FileExists(path_ + ".tmp"));
}

TEST_F(LogTest, MidnightPutsOneDateLineBetween) {
  clock_.SetZone(120);
  Open();
  LogInfo("before");
  clock_.RunFor(10 * 3600 * kNsPerSecond - kNsPerMs);
  LogInfo("last");
  clock_.RunFor(kNsPerMs);
  LogInfo("first");
  LogInfo("second");
  EXPECT_EQ(File(),
            "--- 17-05-2024 ---\n"
            "14:00:00.000  INFO   before\n"
            "23:59:59.999  INFO   last\n"
            "--- 18-05-2024 ---\n"
            "00:00:00.000  INFO   first\n"
            "00:00:00.000  INFO   second\n");
}

TEST_F(LogTest, KeepsTheNewest2000Lines) {
  std::string old;
  for (int i = 0; i < 2300; ++i) old += Format("old %d\n", i);
  WriteBytes(path_, old);
  Open();
  LogInfo("new");
  auto lines = Lines();
  ASSERT_EQ(lines.size(), 2000u);
  EXPECT_EQ(lines.front(), "old 302");  // the date line and the new one push two out
  EXPECT_EQ(lines[1997], "old 2299");
  EXPECT_EQ(lines[1998], "--- 17-05-2024 ---");
  LogInfo("newer");
  lines = Lines();
  ASSERT_EQ(lines.size(), 2000u);
  EXPECT_EQ(lines.front(), "old 303");
  EXPECT_EQ(lines.back(), "12:00:00.000  INFO   newer");
}

TEST_F(LogTest, GoesOnWhereTheLastRunStopped) {
  WriteBytes(path_, "--- 17-05-2024 ---\r\n09:00:00.000  INFO   yesterday's run\r\n\r\n");
  Open();
  LogInfo("this run");
  EXPECT_EQ(File(),
            "--- 17-05-2024 ---\n"
            "09:00:00.000  INFO   yesterday's run\n"
            "12:00:00.000  INFO   this run\n");
}

TEST_F(LogTest, CutsALongLineAtTheBuffersEndBetweenCharacters) {
  Open();
  const std::string prefix = "12:00:00.000  INFO   ";
  LogInfo("%s", std::string(1100, 'x').c_str());
  EXPECT_EQ(Lines().back(), prefix + std::string(1023 - prefix.size(), 'x'));
  // Two bytes a character from an odd place on: the last one would be torn.
  std::string umlauts = "y";
  for (int i = 0; i < 600; ++i) umlauts += "\xC3\xA4";
  LogInfo("%s", umlauts.c_str());
  EXPECT_TRUE(IsValidUtf8(Lines().back()));
  EXPECT_EQ(Lines().back().size(), 1022u);
}

TEST_F(LogTest, LinesFromBeforeTheStartComeOutWithTheFirstAfter) {
  LogWarning("early %d", 1);
  Open();
  EXPECT_FALSE(FileExists(path_));
  LogInfo("late");
  EXPECT_EQ(File(),
            "--- 17-05-2024 ---\n"
            "12:00:00.000  WARN   early 1\n"
            "12:00:00.000  INFO   late\n");
}

TEST_F(LogTest, AFailureToWriteIsBorneAndLeavesTheOldLog) {
  Open();
  LogInfo("one");
  const std::string before = File();
  // A folder in the way of the side file.
  ASSERT_TRUE(CreateFolders(path_ + ".tmp").ok());
  LogInfo("two");
  EXPECT_EQ(File(), before);
  std::filesystem::remove(path_ + ".tmp");
  LogInfo("three");
  EXPECT_EQ(Lines().size(), 4u);
}

TEST_F(LogTest, ManyThreadsMayLog) {
  const auto real = MakeSystemClock();
  OpenLog(*real, path_);
  std::vector<std::unique_ptr<IThread>> threads;
  for (int t = 0; t < 4; ++t) {
    threads.push_back(real->StartThread("logger", ThreadPriority::Normal, [t] {
      for (int i = 0; i < 25; ++i) LogInfo("thread %d line %d", t, i);
    }));
  }
  threads.clear();
  int next[4] = {};
  for (const std::string& line : Lines()) {
    int thread = 0;
    int number = 0;
    const size_t text = line.find("thread");
    if (text == std::string::npos) continue;
    ASSERT_EQ(std::sscanf(line.c_str() + text, "thread %d line %d", &thread, &number), 2);
    EXPECT_EQ(number, next[thread]++);
  }
  for (const int count : next) EXPECT_EQ(count, 25);
  CloseLog();
}

}  // namespace
}  // namespace orventa
