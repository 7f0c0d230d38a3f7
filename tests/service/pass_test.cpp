#include <gtest/gtest.h>

#include "tests/service/fake_platform.h"

namespace orventa {
namespace {

class PassTest : public testing::Test {
 protected:
  void ChangeAfter(uint64_t ms, std::function<void(EngineSnapshot&)> change) {
    platform.After(ms, [this, change] { platform.engine->ChangeStatus(change); });
  }
  void WriteAfter(uint64_t ms, std::string text) {
    platform.After(ms, [this, text] {
      EXPECT_TRUE(
          WriteFileAtomically(platform.Folder("config/config.ini"), text, KeepBackup::No).ok());
    });
  }

  FakePlatform platform;
};

TEST_F(PassTest, ChangesAreToldOnceEach) {
  ChangeAfter(1500, [](EngineSnapshot& s) { s.no_encoder = true; });
  ChangeAfter(4500, [](EngineSnapshot& s) { s.no_encoder = false; });
  ChangeAfter(6500, [](EngineSnapshot& s) { s.drive_nearly_full = true; });
  ChangeAfter(9500, [](EngineSnapshot& s) { s.drive_nearly_full = false; });
  ChangeAfter(11'500, [](EngineSnapshot& s) { s.buffer_disk_failures = 1; });
  ChangeAfter(12'500, [](EngineSnapshot& s) { s.buffer_disk_failures = 2; });
  ChangeAfter(14'500, [](EngineSnapshot& s) { s.history_resets = 1; });
  for (const uint64_t ms : {6000U, 11'000U, 14'000U, 17'000U}) {
    platform.NoteAfter(ms, {"notice_seq", "notice"});
  }
  EXPECT_EQ(platform.RunFor(20'000, {"--from-window"}), 0);

  EXPECT_EQ(platform.LogCount("no video encoder to record with: replays and recordings are off"),
            1U);
  EXPECT_EQ(platform.LogCount("a video encoder is available again"), 1U);
  EXPECT_EQ(platform.LogCount("recording stopped: the drive is nearly full"), 1U);
  EXPECT_EQ(platform.LogCount("the replay buffer could not use its folder"), 1U);
  EXPECT_EQ(platform.LogCount("replay restarted: the new settings cleared it"), 1U);
  EXPECT_EQ(
      platform.notes,
      (std::vector<std::string>{
          "0 ",
          "1 The drive is nearly full, so the recording was stopped and saved. Free up some space "
          "before recording again.",
          "2 The replay could not write to its folder, so some of it was lost. Check the drive has "
          "space, or set Settings > Replays > Stored in to Memory.",
          "3 Replay restarted\\nThe new settings cleared the replay."}));
}

TEST_F(PassTest, ChannelsThatFailAreToldOnceAndTriedAgain) {
  platform.channels_can_be_opened = false;
  platform.After(5500, [&] { platform.channels_can_be_opened = true; });
  size_t open_before = 1;
  size_t open_after = 0;
  platform.After(5900, [&] { open_before = platform.channels.size(); });
  platform.After(6100, [&] { open_after = platform.channels.size(); });
  EXPECT_EQ(platform.RunFor(7000), 0);
  EXPECT_EQ(open_before, 0U);
  EXPECT_EQ(open_after, 3U);
  EXPECT_EQ(platform.LogCount("ipc: could not create the control channel"), 1U);
  EXPECT_EQ(platform.LogCount("ipc: could not create the deck channel"), 1U);
  EXPECT_EQ(platform.LogCount("ipc: listening"), 1U);
}

TEST_F(PassTest, AHandEditTakesEffectOnceTheFileStandsStill) {
  WriteAfter(1500, "first");
  WriteAfter(2500, "second, before the first was read");
  size_t reloads_at_3 = 1;
  size_t reloads_at_4 = 0;
  platform.After(3500, [&] { reloads_at_3 = platform.LogCount("reloading settings"); });
  platform.After(4500, [&] { reloads_at_4 = platform.LogCount("reloading settings"); });
  EXPECT_EQ(platform.RunFor(10'000, {"--set", "video.bitrate_kbps=9000"}), 0);
  EXPECT_EQ(reloads_at_3, 0U);
  EXPECT_EQ(reloads_at_4, 1U);
  EXPECT_EQ(platform.LogCount("reloading settings"), 1U);
  EXPECT_EQ(platform.JournalCount("engine takes settings"), 1U);
  EXPECT_EQ(platform.LogCount("reconfigure: bitrate=9000 adapter=(automatic) "
                              "pattern=ORVENTA Replay %d-%m-%Y %H-%M-%S"),
            1U);
}

}  // namespace
}  // namespace orventa
