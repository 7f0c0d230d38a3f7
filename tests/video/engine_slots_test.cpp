// Frame slots: their times, their holes, repeats, and the picture's size.
#include "tests/video/engine_rig.h"

namespace orventa {
namespace {

TEST(EngineSlots, OneFrameASlotAtItsTime) {
  EngineRig rig;
  rig.StartOnWindow(10 * kSec);
  const std::vector<uint64_t>& pts = rig.backend.pts;
  ASSERT_GE(pts.size(), 590U);
  ASSERT_LE(pts.size(), 601U);
  for (size_t i = 0; i < pts.size(); ++i) ASSERT_EQ(pts[i], i * kSlot60);

  const EngineSnapshot look = rig.Look();
  EXPECT_TRUE(look.running && look.capturing);
  EXPECT_EQ(look.width, 640U);
  EXPECT_EQ(look.source_height, 360U);
  EXPECT_EQ(look.fps, 60U);
  EXPECT_EQ(look.frames_captured, pts.size());
  EXPECT_EQ(look.slots_missed, 0U);
  EXPECT_EQ(look.target_name, "game");
  EXPECT_EQ(look.target_window, 7U);
  EXPECT_EQ(look.encoder_backend, "Fake");
  EXPECT_NEAR(look.buffered_seconds, 10, 0.1);
  EXPECT_EQ(look.target_description, "game window");
  rig.targets.window_title = "Level 2";
  rig.Run(100 * kMs);
  EXPECT_EQ(rig.Look().target_description, "Level 2");
}

TEST(EngineSlots, MissedSlotsLeaveHolesAndNothingShifts) {
  EngineRig rig;
  rig.StartOnWindow(2 * kSec);
  const uint64_t first_slot_at = rig.clock.SteadyNs() - rig.backend.pts.back();
  rig.screen.acquire_cost_ns = 70 * kMs;
  rig.Run(kSec);
  rig.screen.acquire_cost_ns = 0;
  rig.Run(2 * kSec);

  const std::vector<uint64_t>& pts = rig.backend.pts;
  uint64_t holes = 0;
  for (size_t i = 1; i < pts.size(); ++i) {
    ASSERT_EQ(pts[i] % kSlot60, 0U);
    ASSERT_GT(pts[i], pts[i - 1]);
    holes += (pts[i] - pts[i - 1]) / kSlot60 - 1;
  }
  EXPECT_GE(holes, 40U);
  EXPECT_EQ(rig.Look().slots_missed, holes);
  // The newest frame stands where an undisturbed one would.
  EXPECT_LE(rig.clock.SteadyNs() - first_slot_at - pts.back(), 2 * kSlot60);
}

TEST(EngineSlots, AnUnsteadyReadingOfTheSleptTimeIsNoSleep) {
  EngineRig rig;
  rig.clock.SetSuspendedError(50'000);
  rig.StartOnWindow(kSec);
  rig.clock.SetSuspendedError(0);
  rig.Run(2 * kSec);
  EXPECT_EQ(rig.backend.opened, 1);
}

TEST(EngineSlots, OneFrameASecondRepeatsUnchanged) {
  EngineRig rig;
  rig.config.video.fps = 1;
  rig.screen.fresh_every_ns = kForever;
  rig.StartOnWindow(30 * kSec + 10 * kMs);
  ASSERT_GE(rig.backend.pts.size(), 30U);
  for (size_t i = 0; i < rig.backend.pts.size(); ++i) ASSERT_EQ(rig.backend.pts[i], i * kSec);
  EXPECT_TRUE(rig.Look().capturing);
  EXPECT_EQ(rig.Look().frames_duplicated, rig.backend.pts.size() - 1);
  EXPECT_EQ(rig.graphics.conversions, 1);

  const uint64_t before = rig.clock.SteadyNs();
  rig.engine->Stop();
  EXPECT_LE(rig.clock.SteadyNs() - before, 100 * kMs);
}

TEST(EngineSlots, EncodersThatRefuseRepeatsGetThePictureConvertedAgain) {
  EngineRig rig;
  rig.backend.accepts_repeats = false;
  rig.screen.fresh_every_ns = kForever;
  rig.StartOnWindow(2 * kSec);
  ASSERT_GE(rig.backend.pts.size(), 100U);
  EXPECT_EQ(static_cast<size_t>(rig.graphics.conversions), rig.backend.pts.size());
  for (size_t i = 1; i < rig.backend.pictures.size(); ++i) {
    ASSERT_NE(rig.backend.pictures[i], rig.backend.pictures[i - 1]);
  }
  EXPECT_EQ(rig.Look().frames_duplicated, rig.backend.pts.size() - 1);
}

TEST(EngineSlots, ANewSizeMustStandBeforeThePipelineIsBuiltAnew) {
  EngineRig rig;
  rig.StartOnWindow(5 * kSec);
  rig.screen.width = 800;
  rig.Run(400 * kMs);
  EXPECT_EQ(rig.backend.opened, 1);
  rig.screen.width = 640;
  rig.Run(2 * kSec);
  EXPECT_EQ(rig.backend.opened, 1) << "back in time";

  const uint64_t held = rig.backend.pts.size();
  rig.screen.width = 800;
  rig.screen.height = 451;
  rig.Run(400 * kMs);
  EXPECT_GE(rig.backend.pts.size(), held + 20) << "the old picture repeats meanwhile";
  rig.Run(kSec);
  EXPECT_EQ(rig.backend.opened, 2);
  EXPECT_EQ(rig.backend.settings.width, 800U);
  EXPECT_EQ(rig.backend.settings.height, 450U);
  EXPECT_EQ(rig.graphics.converter_settings.input_height, 451U);
  EXPECT_EQ(rig.graphics.converter_settings.source_rect.height, 450U);
  // The header holds the size: what went before cannot be continued.
  EXPECT_EQ(rig.Look().history_resets, 1U);
  EXPECT_LT(rig.Look().buffered_seconds, 2);
}

TEST(EngineSlots, AFixedHeightKeepsTheHistoryAcrossSizes) {
  EngineRig rig;
  rig.config.video.resolution = 720;
  rig.StartOnWindow(5 * kSec);
  rig.screen.width = 1280;
  rig.screen.height = 720;
  rig.Run(3 * kSec);
  EXPECT_EQ(rig.backend.opened, 2);
  EXPECT_EQ(rig.Look().history_resets, 0U);
  EXPECT_NEAR(rig.Look().buffered_seconds, 8, 0.3);
}

TEST(EngineSlots, AMinimisedWindowIsNotRebuiltForItsSize) {
  EngineRig rig;
  rig.StartOnWindow(2 * kSec);
  rig.targets.minimised.insert(7);
  rig.screen.width = 160;
  rig.Run(10 * kSec);
  EXPECT_EQ(rig.backend.opened, 1);
  EXPECT_TRUE(rig.Look().capturing);
  rig.targets.minimised.clear();
  rig.screen.width = 640;
  rig.Run(kSec);
  EXPECT_EQ(rig.backend.opened, 1);
}

TEST(EngineSlots, AnotherDisplayRebuilds) {
  EngineRig rig;
  rig.config.video.codec = Codec::Hevc;
  rig.config.video.hdr = true;
  rig.screen.display = {.hdr_on = true, .sdr_white = 2, .peak = 10};
  rig.screen.format = PixelFormat::RgbaHalf;
  rig.StartOnWindow(kSec);
  EXPECT_TRUE(rig.Look().hdr_output);
  EXPECT_EQ(rig.graphics.converter_settings.peak, 5.0F);
  EXPECT_TRUE(rig.graphics.converter_settings.hdr_input);

  rig.screen.display.sdr_white = 2.01F;
  rig.Run(kSec);
  EXPECT_EQ(rig.backend.opened, 1) << "as good as the same";
  rig.screen.display.sdr_white = 2.5F;
  rig.Run(kSec);
  EXPECT_EQ(rig.backend.opened, 2);
  rig.screen.display = {};
  rig.screen.format = PixelFormat::Bgra8;
  rig.Run(kSec);
  EXPECT_EQ(rig.backend.opened, 3);
  EXPECT_FALSE(rig.Look().hdr_output);
}

}  // namespace
}  // namespace orventa
