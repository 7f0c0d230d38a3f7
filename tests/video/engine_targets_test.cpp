// Which target is captured, and what becomes of the old one's footage.
#include <gtest/gtest.h>

#include "tests/video/engine_rig.h"

namespace orventa {
namespace {

void Close(EngineRig& rig) {
  rig.screen.gone = true;
  rig.targets.found.reset();
  rig.targets.foreground = 0;
}

void Open(EngineRig& rig, const FoundTarget& target) {
  rig.screen.gone = false;
  rig.targets.Show(target);
}

TEST(EngineTargets, ClosedForTenSecondsOrMoreLosesTheOldFootage) {
  for (const uint64_t closed : {8, 12}) {
    EngineRig rig;
    rig.StartOnWindow(30 * kSec);
    Close(rig);
    rig.Run(closed * kSec);
    EXPECT_NEAR(rig.Look().buffered_seconds, 30, 0.5) << "kept while nothing is open";
    Open(rig, FakeTargets::Window(9, "game"));
    rig.Run(14 * kSec);
    EXPECT_GT(rig.Look().buffered_seconds, 40);
    rig.Run(5 * kSec);
    EXPECT_NEAR(rig.Look().buffered_seconds, closed < 10 ? 49 : 18, 1.5) << "trimmed after 15 s";
    EXPECT_EQ(rig.Look().history_resets, 0U);
  }
}

TEST(EngineTargets, AFlipAwayAndStraightBackLosesNothing) {
  EngineRig rig;
  rig.StartOnWindow(20 * kSec);
  const auto flip = [&](uint64_t window, const char* name, uint64_t run_ns) {
    rig.screen.gone = true;
    rig.targets.Show(FakeTargets::Window(window, name));
    rig.Run(100 * kMs);
    rig.screen.gone = false;
    rig.Run(run_ns);
    EXPECT_EQ(rig.Look().target_name, name);
  };
  flip(8, "other", 5 * kSec);
  flip(7, "game", 20 * kSec);
  EXPECT_GT(rig.Look().buffered_seconds, 44);
}

TEST(EngineTargets, ATargetThatIsFoundAndGoneAtOnceDoesNotSpin) {
  EngineRig rig;
  rig.screen.gone = true;
  rig.StartOnWindow(10 * kSec);
  EXPECT_LE(rig.backend.opened, 41);
  EXPECT_GE(rig.backend.opened, 10);
}

TEST(EngineTargets, ANamedWindowKeepsItsClaimUntilItIsMinimised) {
  EngineRig rig;
  rig.StartOnWindow(2 * kSec);
  rig.targets.without_claim = FakeTargets::Window(8, "other");
  rig.targets.foreground = 8;
  rig.Run(10 * kSec);
  EXPECT_EQ(rig.Look().target_name, "game");
  rig.targets.minimised.insert(7);
  rig.Run(2 * kSec);
  rig.targets.found = rig.targets.without_claim;
  rig.Run(3 * kSec);
  EXPECT_EQ(rig.Look().target_name, "other");
  EXPECT_EQ(rig.backend.opened, 2);
}

TEST(EngineTargets, ABetterPlaceOnTheListWinsWithinTwoSeconds) {
  EngineRig rig;
  FoundTarget game = FakeTargets::Window(7, "game");
  game.list_index = 3;
  rig.targets.Show(game);
  rig.Start();
  rig.Run(5 * kSec);
  rig.targets.found->list_index = 2;
  rig.Run(5 * kSec);
  EXPECT_EQ(rig.backend.opened, 1) << "the same window in a better place";

  rig.targets.found = FakeTargets::Window(8, "favourite");
  rig.Run(2500 * kMs);
  EXPECT_EQ(rig.Look().target_name, "favourite");
  EXPECT_EQ(rig.backend.opened, 2);
}

TEST(EngineTargets, ANewListBuildsAnewAndANewPolicyOnlyLooks) {
  EngineRig rig;
  rig.StartOnWindow(10 * kSec);
  const auto apply = [&] {
    ASSERT_TRUE(rig.engine->ApplySettings(rig.config, rig.list).ok());
    rig.Run(kSec);
  };
  rig.config.capture.windowed_as_game = false;
  apply();
  EXPECT_EQ(rig.backend.opened, 1) << "still the right one";
  rig.targets.found = FakeTargets::Window(8, "other");
  rig.config.capture.windowed_as_game = true;
  apply();
  EXPECT_EQ(rig.Look().target_name, "other");
  EXPECT_EQ(rig.backend.opened, 2);

  rig.list.entries.emplace_back();
  apply();
  EXPECT_EQ(rig.backend.opened, 3);
  apply();
  EXPECT_EQ(rig.backend.opened, 3) << "nothing new";
  EXPECT_NEAR(rig.Look().buffered_seconds, 14, 1.5);
  EXPECT_EQ(rig.Look().history_resets, 0U);

  rig.targets.found.reset();
  rig.config.capture.windowed_as_game = false;
  apply();
  EXPECT_TRUE(rig.Look().no_target);
}

TEST(EngineTargets, AWindowKnownByItsTitleOnlyKeepsItsNameThroughARebuild) {
  EngineRig rig;
  FoundTarget game = FakeTargets::Window(7, "");
  game.path.clear();
  game.name = game.description = "Menu";
  rig.targets.Show(game);
  rig.Start();
  rig.Run(5 * kSec);
  rig.targets.found->name = rig.targets.found->description = "Level 1";
  rig.engine->SetSessionOverrides({});
  rig.Run(20 * kSec);
  EXPECT_EQ(rig.backend.opened, 2);
  EXPECT_EQ(rig.Look().target_name, "Menu");
  EXPECT_NEAR(rig.Look().buffered_seconds, 25, 1.5) << "the same game";
}

TEST(EngineTargets, AGamesOwnReplayLengthOutlivesIt) {
  EngineRig rig;
  FoundTarget game = FakeTargets::Window(7, "game");
  game.settings = {{"replay.duration_seconds", "120"}, {"video.fps", "30"}};
  rig.targets.Show(game);
  rig.Start();
  rig.Run(100 * kSec);
  EXPECT_EQ(rig.Look().replay_seconds, 120U);
  EXPECT_TRUE(rig.Look().target_custom_settings);
  EXPECT_EQ(rig.backend.settings.fps_num, 30U);
  Close(rig);
  rig.Run(110 * kSec);
  EXPECT_EQ(rig.Look().replay_seconds, 120U);
  EXPECT_NEAR(rig.Look().buffered_seconds, 100, 1);
  EXPECT_EQ(rig.engine->GetSettings().video.fps, 60U);
  rig.Run(15 * kSec);
  EXPECT_EQ(rig.Look().replay_seconds, 60U);
  EXPECT_EQ(rig.Look().history_resets, 0U);
}

}  // namespace
}  // namespace orventa
