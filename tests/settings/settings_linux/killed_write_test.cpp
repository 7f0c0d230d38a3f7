// A writer of config.ini that is killed at each of its system calls in turn.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "base/files.h"
#include "settings/config_file.h"
#include "support_linux/killed_child.h"
#include "tests/fakes/fake_clock.h"
#include "tests/fakes/temp_folder.h"

namespace orventa {
namespace {

Config WithFps(uint32_t fps) {
  Config config;
  config.video.fps = fps;
  return config;
}

void Put(const std::string& path, const std::string& text) {
  std::ofstream(path, std::ios::binary) << text;
}

TEST(KilledWrite, LeavesTheOldFileOrTheNewOneWhole) {
  const TempFolder temp;
  const std::string path = temp / "config.ini";
  const Config old_config = WithFps(30);
  const Config new_config = WithFps(50);
  const std::string old_text = ConfigText(old_config);
  const std::string new_text = ConfigText(new_config);
  const std::string older_text = ConfigText(WithFps(20));
  FakeClock clock;

  int stops = 0;
  int old_ones = 0;
  for (bool ended = false; !ended; ++stops) {
    ASSERT_LT(stops, 1000);
    Put(path, old_text);  // beside whatever the last round left
    Put(path + ".bak", older_text);
    const auto code =
        RunUpToSystemCall(stops, [&] { return WriteConfig(new_config, path).ok() ? 0 : 1; });
    if (code == kTracingNotPermitted) GTEST_SKIP() << "tracing is not permitted here";
    ended = code.has_value();
    ASSERT_EQ(code.value_or(0), 0);

    std::string text;
    ASSERT_TRUE(ReadWholeFile(path, 1 << 20, text).ok()) << "after stop " << stops;
    ASSERT_TRUE(text == old_text || text == new_text) << "after stop " << stops;
    old_ones += text == old_text ? 1 : 0;
    Config read;
    ConfigReadOutcome outcome;
    ASSERT_EQ(ReadConfig(clock, path, read, outcome), Status::Ok());
    ASSERT_EQ(read, text == old_text ? old_config : new_config);
    // At worst the backup is a stale one.
    ASSERT_TRUE(ReadWholeFile(path + ".bak", 1 << 20, text).ok());
    ASSERT_TRUE(text == old_text || text == older_text) << "after stop " << stops;
  }
  EXPECT_GT(stops, 20);
  EXPECT_GT(old_ones, 5);
  EXPECT_LT(old_ones, stops);
}

// A settings folder that is kept elsewhere, file by file.
TEST(LinkedFile, IsReplacedWhereItLies) {
  const TempFolder temp;
  ASSERT_TRUE(CreateFolders(temp / "synced").ok());
  Put(temp / "synced/mine.ini", std::string(3, '\0'));
  Put(temp / "synced/mine.ini.bak", "[video]\nfps = 30\n");
  const std::string path = temp / "config.ini";
  std::filesystem::create_symlink("synced/mine.ini", path);
  FakeClock clock;
  Config read;
  ConfigReadOutcome outcome;
  ASSERT_EQ(ReadConfig(clock, path, read, outcome), Status::Ok());
  EXPECT_EQ(read.video.fps, 30U);
  ASSERT_EQ(WriteConfig(WithFps(50), path), Status::Ok());
  EXPECT_TRUE(std::filesystem::is_symlink(path));
  ASSERT_EQ(ReadConfig(clock, temp / "synced/mine.ini", read, outcome), Status::Ok());
  EXPECT_EQ(read.video.fps, 50U);
}

}  // namespace
}  // namespace orventa
