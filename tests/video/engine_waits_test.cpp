// What the engine does while it cannot capture: waits, and how they end.
#include <gtest/gtest.h>

#include "tests/video/engine_rig.h"
#include "video/engine_run.h"

namespace orventa {
namespace {

TEST(EngineWaits, BackOffGrowsAndStopEndsIt) {
  EngineRig rig;
  rig.graphics.create_capture = {StatusCode::DriverError, "no capture"};
  rig.StartOnWindow(kSec);
  // Tries at 0, 2, 6, 14, 30, 60 and 90 seconds.
  size_t tries = 1;
  uint64_t at = 0;
  for (const uint64_t pause : {2, 4, 8, 16, 30, 30}) {
    at += pause;
    rig.clock.RunUntil(FakeClock::kSteadyStartNs + at * kSec - 100 * kMs);
    EXPECT_EQ(rig.graphics.captured.size(), tries) << "before " << at;
    rig.clock.RunUntil(FakeClock::kSteadyStartNs + at * kSec + 100 * kMs);
    EXPECT_EQ(rig.graphics.captured.size(), ++tries) << "after " << at;
  }
  EXPECT_EQ(rig.Look().last_error, "no capture");
  EXPECT_FALSE(rig.Look().capturing);

  const uint64_t before = rig.clock.SteadyNs();
  rig.engine->Stop();
  EXPECT_LE(rig.clock.SteadyNs() - before, 1500 * kMs);
  EXPECT_FALSE(rig.engine->IsRunning());
}

TEST(EngineWaits, ASuccessfulStartClearsErrorAndBackOff) {
  EngineRig rig;
  rig.graphics.create_capture = {StatusCode::DriverError, "no capture"};
  rig.StartOnWindow(20 * kSec);
  rig.graphics.create_capture = {};
  rig.Run(60 * kSec);
  EXPECT_EQ(rig.Look().last_error, "");
  EXPECT_TRUE(rig.Look().capturing);
  rig.screen.throws = true;
  rig.Run(kSec);
  EXPECT_EQ(rig.Look().last_error, "an unexpected error stopped the capture: the screen broke");
  rig.screen.throws = false;
  rig.Run(2 * kSec);
  EXPECT_TRUE(rig.Look().capturing) << "the first pause is the short one again";
  EXPECT_EQ(rig.Look().restarts, 1U);
}

TEST(EngineWaits, ABlankScreenFailsTheBuildAfterTwoSeconds) {
  EngineRig rig;
  rig.screen.blank = true;
  rig.StartOnWindow(1900 * kMs);
  EXPECT_EQ(rig.Look().last_error, "");
  rig.Run(200 * kMs);
  EXPECT_EQ(rig.Look().last_error, "capture produced no frames");
  EXPECT_EQ(rig.screen.captures_alive, 0);
}

TEST(EngineWaits, NoTargetIsAskedForEverySecondAndHoldsNoDeviceForLong) {
  EngineRig rig;
  rig.Start();
  rig.Run(25 * kSec);
  EXPECT_TRUE(rig.Look().no_target);
  EXPECT_EQ(rig.Look().last_error, "");
  EXPECT_EQ(rig.graphics.devices_alive, 1);
  EXPECT_GE(rig.targets.finds, 24);
  EXPECT_LE(rig.targets.finds, 27);
  rig.Run(10 * kSec);
  EXPECT_EQ(rig.graphics.devices_alive, 0);

  rig.targets.Show(FakeTargets::Window(7, "game"));
  rig.Run(2 * kSec);
  EXPECT_TRUE(rig.Look().capturing);
  EXPECT_FALSE(rig.Look().no_target);
  rig.screen.gone = true;
  rig.targets.found.reset();
  rig.Run(5 * kSec);
  EXPECT_TRUE(rig.Look().no_target);
  EXPECT_EQ(rig.Look().target_name, "");
  EXPECT_FALSE(rig.Look().capturing);
  EXPECT_EQ(rig.targets.last_current_window, 7U) << "the last window keeps its claim";
}

TEST(EngineWaits, NoEncoderIsToldAndSearchedForAgain) {
  EngineRig rig;
  rig.backend.exists = false;
  rig.Start();
  EXPECT_TRUE(rig.engine->HasNoEncoder()) << "known as soon as Start returns";
  rig.targets.Show(FakeTargets::Window(7, "game"));
  rig.Run(290 * kSec);
  EXPECT_TRUE(rig.Look().no_encoder);
  EXPECT_EQ(rig.Look().last_error, "no video encoder to record with");
  EXPECT_EQ(rig.graphics.devices_alive, 0);
  const int probes = rig.backend.probes;
  std::string path;
  EXPECT_EQ(rig.engine->SaveReplay(0, path).code(), StatusCode::NoEncoder);

  rig.Run(20 * kSec);
  EXPECT_GT(rig.backend.probes, probes) << "every five minutes";
  rig.backend.exists = true;
  rig.Run(10 * kSec);
  EXPECT_TRUE(rig.engine->HasNoEncoder());
  rig.engine->RetryEncoder();
  rig.Run(kSec);
  EXPECT_FALSE(rig.Look().no_encoder);
  EXPECT_TRUE(rig.Look().capturing);
}

TEST(EngineWaits, APausedReplayHoldsNothing) {
  EngineRig rig;
  rig.StartOnWindow(20 * kSec);
  rig.engine->SetSessionOverrides({{"video.fps", "30"}});
  rig.Run(5 * kSec);
  EXPECT_EQ(rig.Look().fps, 30U);
  EXPECT_TRUE(rig.Look().session_overrides);

  rig.engine->SetPaused(true);
  rig.Run(kSec);
  EngineSnapshot look = rig.Look();
  EXPECT_TRUE(look.paused);
  EXPECT_FALSE(look.capturing);
  EXPECT_FALSE(look.session_overrides);
  EXPECT_EQ(look.buffered_bytes, 0U);
  EXPECT_EQ(rig.graphics.devices_alive, 0);
  EXPECT_EQ(rig.backend.alive, 0);
  EXPECT_EQ(look.target_name, "game") << "still told while paused";
  rig.targets.found.reset();
  rig.Run(2 * kSec);
  EXPECT_TRUE(rig.Look().no_target);

  rig.targets.Show(FakeTargets::Window(8, "other"));
  rig.engine->SetPaused(false);
  rig.Run(3 * kSec);
  look = rig.Look();
  EXPECT_TRUE(look.capturing);
  EXPECT_EQ(look.fps, 60U);
  EXPECT_NEAR(look.buffered_seconds, 3, 0.2);
  EXPECT_EQ(look.history_resets, 0U);

  rig.Run(10 * kSec);  // one too short to be seen empties it as well
  rig.engine->SetPaused(true);
  rig.engine->SetPaused(false);
  rig.Run(2 * kSec);
  EXPECT_TRUE(rig.Look().capturing);
  EXPECT_LT(rig.Look().buffered_seconds, 2.1);
}

TEST(EngineWaits, SearchesForAnEncoderWhilePaused) {
  EngineRig rig;
  rig.backend.exists = false;
  rig.Start();
  rig.engine->SetPaused(true);
  rig.Run(2 * kSec);
  rig.backend.exists = true;
  rig.Run(200 * kSec);
  EXPECT_TRUE(rig.engine->HasNoEncoder());
  rig.Run(120 * kSec);
  EXPECT_FALSE(rig.engine->HasNoEncoder());
  EXPECT_EQ(rig.graphics.devices_alive, 0);
}

TEST(EngineWaits, SuspensionEndsByNoticeOrByItself) {
  for (const bool noticed : {true, false}) {
    EngineRig rig;
    rig.StartOnWindow(5 * kSec);
    rig.engine->NotifySuspending();
    rig.Run(kSec);
    EXPECT_EQ(rig.backend.alive, 0) << "nothing is held over the sleep";
    const size_t frames = rig.backend.pts.size();
    if (noticed) {
      rig.clock.SuspendFor(3600 * kSec);
      rig.engine->NotifyResumed();
      rig.Run(kSec);
    } else {
      rig.Run(55 * kSec);
      EXPECT_EQ(rig.backend.pts.size(), frames);
      rig.Run(6 * kSec);
    }
    EXPECT_GT(rig.backend.pts.size(), frames);
    EXPECT_TRUE(rig.Look().capturing);
    EXPECT_EQ(rig.Look().last_error, "");
    // The old footage is trimmed once there is enough of the new.
    EXPECT_GT(rig.Look().buffered_seconds, 5);
    rig.Run(20 * kSec);
    EXPECT_LT(rig.Look().buffered_seconds, 22.5);
  }
}

TEST(EngineWaits, ASleepNobodyToldOfIsNoticed) {
  for (const bool steady_runs : {false, true}) {
    EngineRig rig;
    rig.clock.SetSteadyRunsInSleep(steady_runs);
    rig.StartOnWindow(5 * kSec);
    const uint64_t last = rig.backend.pts.back();
    rig.clock.SuspendFor(3600 * kSec);
    rig.Run(kSec);
    EXPECT_EQ(rig.backend.opened, 2);
    EXPECT_LE(rig.backend.pts.back(), last + 2 * kSec) << "the timeline does not count the sleep";
  }
}

TEST(EngineWaits, AThreadThatStoodStillForHalfAMinuteBuildsAnew) {
  EngineRig rig;
  rig.StartOnWindow(5 * kSec);
  rig.screen.acquire_cost_ns = 29 * kSec;
  rig.Run(100 * kMs);
  rig.screen.acquire_cost_ns = 0;
  rig.Run(30 * kSec);
  EXPECT_EQ(rig.backend.opened, 1) << "late, but not stalled";
  rig.screen.acquire_cost_ns = 31 * kSec;
  rig.Run(100 * kMs);
  rig.screen.acquire_cost_ns = 0;
  rig.Run(33 * kSec);
  EXPECT_EQ(rig.backend.opened, 2);
  EXPECT_EQ(rig.Look().last_error, "");
  EXPECT_TRUE(rig.Look().capturing);
}

TEST(EngineWaits, OrdersBeforeStartAndAfterStop) {
  EngineRig rig;
  rig.Start();
  rig.engine->Stop();
  rig.engine->Stop();
  std::string path;
  size_t count = 0;
  EXPECT_EQ(rig.engine->SaveReplay(0, path),
            Status(StatusCode::InvalidArgument, "engine is not running"));
  EXPECT_EQ(rig.engine->AddMarker(count),
            Status(StatusCode::InvalidArgument, "engine is not running"));
  EXPECT_EQ(rig.engine->StartRecording(path),
            Status(StatusCode::InvalidArgument, "engine is not running"));
  EXPECT_EQ(rig.engine->TakeScreenshot(path).code(), StatusCode::Unsupported);
  EXPECT_FALSE(rig.engine->ToggleWebcam());

  rig.targets.Show(FakeTargets::Window(7, "game"));
  ASSERT_TRUE(rig.engine->Start().ok());
  ASSERT_TRUE(rig.engine->Start().ok());
  rig.Run(kSec);
  EXPECT_TRUE(rig.Look().capturing);
  rig.engine->Stop();
  EXPECT_EQ(rig.graphics.devices_alive, 0);
  EXPECT_EQ(rig.clock.TimerResolutionHolders(), 0);
}

}  // namespace
}  // namespace orventa
