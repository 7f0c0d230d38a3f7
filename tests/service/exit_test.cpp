#include <gtest/gtest.h>

#include "service/service_state.h"
#include "tests/service/fake_platform.h"

namespace orventa {
namespace {

constexpr auto kSaveReplay = static_cast<uint64_t>(TrayCommand::SaveReplay);
constexpr auto kClip = static_cast<uint64_t>(EventSaveRequest::Clip);

class ExitTest : public testing::Test {
 protected:
  void SavesTake(uint64_t ns) {
    platform.on_engine = [ns](FakeEngine& engine) { engine.SetSaves(ns, nullptr); };
  }
  uint64_t RanMs() const {
    return (platform.clock.SteadyNs() - FakeClock::kSteadyStartNs) / kNsPerMs;
  }

  FakePlatform platform;
};

TEST_F(ExitTest, WaitsForASaveAndKeepsTheOneBehindIt) {
  SavesTake(4 * kNsPerSecond);
  platform.PostAfter(1000, ServiceMessage::Command, kSaveReplay);
  platform.PostAfter(1500, ServiceMessage::Command, kSaveReplay);
  EXPECT_EQ(platform.RunFor(2000), 0);
  EXPECT_EQ(platform.LogCount("save: /clips/Some Game/clip.mp4"), 2U);
  EXPECT_EQ(platform.JournalCount("ends process with 0"), 0U);
  EXPECT_EQ(platform.Log().back(), "exit: clean, after 9 s");
  EXPECT_EQ(CurrentService(), nullptr);
}

TEST_F(ExitTest, ASaveThatNeverEndsIsGivenUpAfterFifteenSeconds) {
  SavesTake(kForever);
  platform.PostAfter(1000, ServiceMessage::Command, kSaveReplay);
  EXPECT_EQ(platform.RunFor(2000), 0);
  EXPECT_EQ(RanMs(), 17'000U);
  EXPECT_EQ(platform.LogCount("exiting while a save is still writing; it will not be kept"), 1U);
  // The engine has stopped before the process goes.
  EXPECT_EQ((std::vector<std::string>{platform.journal.end() - 2, platform.journal.end()}),
            (std::vector<std::string>{"engine stops", "ends process with 0"}));
}

TEST_F(ExitTest, ARecordingThatItsDriveDoesNotTakeHoldsNothingUp) {
  platform.on_engine = [](FakeEngine& engine) {
    engine.ChangeStatus([](EngineSnapshot& status) { status.recordings_ending = 1; });
  };
  platform.CloseAfter(2000);
  EXPECT_EQ(platform.Run(), 0);
  EXPECT_EQ(
      platform.LogCount("exiting while a recording is being ended; the next start goes on with it"),
      1U);
  EXPECT_EQ(platform.JournalCount("ends process with 0"), 1U);
}

TEST_F(ExitTest, AnOpenEventSaveIsWrittenBehindTheSaveAtWork) {
  SavesTake(3 * kNsPerSecond);
  std::vector<FakeEngine::SaveSeen> seen;
  platform.on_engine = [&](FakeEngine& engine) {
    engine.SetSaves(3 * kNsPerSecond, [&](std::string& path) {
      path = "/clip.mp4";
      seen = platform.engine->Saves();
      return Status::Ok();
    });
  };
  platform.PostAfter(1000, ServiceMessage::Command, kSaveReplay);
  platform.PostAfter(1500, ServiceMessage::EventSave, kClip);
  EXPECT_EQ(platform.RunFor(2000), 0);
  ASSERT_EQ(seen.size(), 2U);
  // 30 s as set and the 2.5 s until the first save was done.
  EXPECT_EQ(seen[1].seconds, 33U);
  EXPECT_EQ(platform.LogCount("save: /clip.mp4"), 2U);
}

TEST_F(ExitTest, ASignOutStopsTheEngineInsideTheEvent) {
  SavesTake(20 * kNsPerSecond);
  platform.PostAfter(1000, ServiceMessage::EventSave, kClip);
  uint64_t stopped_at_journal = 0;
  platform.After(2000, [&] { platform.loop->InjectSystemEvent(SystemEvent::SessionEnding); });
  platform.After(23'000, [&] { stopped_at_journal = platform.JournalCount("engine stops"); });
  EXPECT_EQ(platform.RunFor(24'000), 0);
  EXPECT_EQ(stopped_at_journal, 1U);
  EXPECT_EQ(platform.LogCount("save: /clips/Some Game/clip.mp4"), 1U);
}

TEST_F(ExitTest, ASignOutWaitsAMinuteAtMost) {
  SavesTake(kForever);
  platform.PostAfter(1000, ServiceMessage::Command, kSaveReplay);
  platform.After(2000, [&] { platform.loop->InjectSystemEvent(SystemEvent::SessionEnding); });
  size_t stops_before = 1;
  size_t stops_after = 0;
  platform.After(61'900, [&] { stops_before = platform.JournalCount("engine stops"); });
  platform.After(62'100, [&] {
    stops_after = platform.JournalCount("engine stops");
    platform.engine->ReleaseSaves();
  });
  EXPECT_EQ(platform.RunFor(63'000), 0);
  EXPECT_EQ(stops_before, 0U);
  EXPECT_EQ(stops_after, 1U);
}

}  // namespace
}  // namespace orventa
