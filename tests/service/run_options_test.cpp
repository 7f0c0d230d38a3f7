#include "service/run_options.h"

#include <gtest/gtest.h>

#include "service/settings_files.h"

namespace orventa {
namespace {

RunOptions Read(std::vector<std::string> arguments) {
  RunOptions options;
  EXPECT_EQ(ReadRunOptions(arguments, options), Status::Ok());
  return options;
}

TEST(RunOptions, SwitchesAreFoundAnywhereInTheCommandLine) {
  const RunOptions none = Read({});
  EXPECT_FALSE(none.autostart || none.after_crash || none.from_window || none.after_update);
  EXPECT_TRUE(Read({"/x--autostart"}).autostart);
  EXPECT_TRUE(Read({"--after-crash", "--from-window"}).after_crash);
  EXPECT_TRUE(Read({"--after-crash", "--from-window"}).from_window);
}

TEST(RunOptions, TheProcessOfAnUpdateIsRead) {
  EXPECT_EQ(Read({"--after-update", "4711"}).updated_process, 4711U);
  EXPECT_EQ(Read({"--after-update 4711 --autostart"}).updated_process, 4711U);
  const RunOptions version = Read({"--after-update", "0.9.76"});
  EXPECT_TRUE(version.after_update);
  EXPECT_EQ(version.updated_process, 0U);
  EXPECT_EQ(Read({"--after-update"}).updated_process, 0U);
}

TEST(RunOptions, SettingsAreCheckedBeforeAnythingStarts) {
  const RunOptions options =
      Read({"--window", "Demo game", "--set", "video.fps=30", "--set", "Replay.Storage=disk"});
  EXPECT_EQ(options.window_title, "Demo game");
  const Config config = SettingsOfRun(Config(), options);
  EXPECT_EQ(config.video.fps, 30U);
  EXPECT_EQ(config.replay.storage, ReplayStorage::Disk);

  for (const char* refused : {"video.fps", "video.fps=fast", "video.fps=0", "video.colour=3",
                              "video.codec=h266", "storage.folder_per_game=maybe",
                              "video.resolution=100", "video.bitrate_kbps=99999999999999999999"}) {
    RunOptions ignored;
    EXPECT_EQ(ReadRunOptions(std::vector<std::string>{"--set", refused}, ignored).code(),
              StatusCode::InvalidArgument)
        << refused;
  }
  RunOptions ignored;
  EXPECT_FALSE(ReadRunOptions(std::vector<std::string>{"--set"}, ignored).ok());
}

}  // namespace
}  // namespace orventa
