// What happens to the history when a pipeline ends: by an order, by a failure.
#include <gtest/gtest.h>

#include "tests/video/engine_rig.h"

namespace orventa {
namespace {

TEST(EngineHistory, AStuckEncoderIsToldReplacedAndCostsNoHistory) {
  EngineRig rig;
  rig.StartOnWindow(20 * kSec);
  rig.backend.stuck = true;
  rig.Run(3 * kSec);
  EXPECT_FALSE(rig.Look().capturing) << "no packet for seconds is not capturing";
  rig.Run(4 * kSec);
  EXPECT_EQ(rig.Look().last_error, "the encoder stopped giving back frames");
  EXPECT_EQ(rig.Look().restarts, 1U);
  rig.backend.stuck = false;
  rig.Run(5 * kSec);
  const EngineSnapshot look = rig.Look();
  EXPECT_TRUE(look.capturing);
  EXPECT_EQ(look.last_error, "");
  EXPECT_EQ(look.history_resets, 0U);
  EXPECT_GT(look.buffered_seconds, 22);
  EXPECT_EQ(rig.backend.alive, 1);
}

TEST(EngineHistory, ALostDeviceIsReplacedAfterTheBackOff) {
  EngineRig rig;
  rig.StartOnWindow(10 * kSec);
  rig.graphics.removed_reason = 0x887A0006;
  rig.Run(kSec);
  EXPECT_EQ(rig.Look().last_error,
            "the graphics driver reset or the card was removed (0x887A0006)");
  EXPECT_FALSE(rig.Look().capturing);
  rig.Run(4 * kSec);
  EXPECT_TRUE(rig.Look().capturing);
  EXPECT_EQ(rig.graphics.devices_made, 2);
  EXPECT_EQ(rig.graphics.devices_alive, 1);
  EXPECT_EQ(rig.Look().history_resets, 0U);
  EXPECT_GT(rig.Look().buffered_seconds, 11);
}

TEST(EngineHistory, AnEncoderThatKeepsFailingIsTriedLessAndLess) {
  EngineRig rig;
  rig.backend.throws = true;
  rig.StartOnWindow(13 * kSec);
  // Runs of a few slots at 0, 2, 6 seconds, and the next at 14.
  EXPECT_EQ(rig.backend.opened, 3);
  EXPECT_EQ(rig.Look().last_error, "an unexpected error stopped the encoder: the encoder broke");
}

TEST(EngineHistory, TheTimelineRunsOnAcrossPipelines) {
  EngineRig rig;
  rig.StartOnWindow(5 * kSec);
  for (uint32_t kbps : {5000U, 6000U, 7000U}) {
    rig.config.video.bitrate_auto = false;
    rig.config.video.bitrate_kbps = kbps;
    ASSERT_TRUE(rig.engine->ApplySettings(rig.config, rig.list).ok());
    rig.Run(5 * kSec);
    EXPECT_EQ(rig.backend.settings.bitrate_kbps, kbps);
  }
  EXPECT_EQ(rig.backend.opened, 4);
  const std::vector<uint64_t>& pts = rig.backend.pts;
  for (size_t i = 1; i < pts.size(); ++i) ASSERT_EQ(pts[i], pts[i - 1] + kSlot60) << i;
  EXPECT_EQ(rig.Look().history_resets, 0U);
  EXPECT_NEAR(rig.Look().buffered_seconds, 20, 1);
}

TEST(EngineHistory, IsShortenedClearedOrReset) {
  EngineRig rig;
  rig.StartOnWindow(30 * kSec);
  const auto apply = [&] {
    ASSERT_TRUE(rig.engine->ApplySettings(rig.config, rig.list).ok());
    rig.Run(2 * kSec);
  };
  rig.config.replay.duration_seconds = 10;
  rig.config.service.save_seconds = 30;
  apply();
  EXPECT_EQ(rig.backend.opened, 1) << "taken live";
  EXPECT_EQ(rig.Look().replay_seconds, 10U);
  EXPECT_EQ(rig.Look().clip_seconds, 10U);
  EXPECT_LT(rig.Look().buffered_seconds, 12);

  rig.engine->ClearHistory();
  rig.Run(2 * kSec);
  EXPECT_NEAR(rig.Look().buffered_seconds, 1.8, 0.3) << "at once";
  EXPECT_EQ(rig.Look().history_resets, 0U);

  rig.Run(5 * kSec);
  rig.config.video.codec = Codec::Hevc;
  apply();
  EXPECT_EQ(rig.Look().codec, "hevc");
  EXPECT_EQ(rig.Look().history_resets, 1U);
  EXPECT_LT(rig.Look().buffered_seconds, 2.5);
}

TEST(EngineHistory, MarksCountWithinTheReplay) {
  EngineRig rig;
  rig.config.replay.duration_seconds = 10;
  rig.StartOnWindow(5 * kSec);
  size_t count = 0;
  for (const size_t expected : {1, 2, 2}) {
    ASSERT_TRUE(rig.engine->AddMarker(count).ok());
    EXPECT_EQ(count, expected) << "the first has left the replay when the third comes";
    rig.Run(7 * kSec);
  }
  ClipEvent kill;
  kill.name = "kill";
  ASSERT_TRUE(rig.engine->AddGameEvent(kill, count).ok());
  EXPECT_EQ(count, 1U);

  rig.engine->SetPaused(true);
  rig.Run(kSec);
  EXPECT_FALSE(rig.engine->AddMarker(count).ok());
}

}  // namespace
}  // namespace orventa
