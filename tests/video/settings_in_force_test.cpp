#include <gtest/gtest.h>

#include "base/clock.h"
#include "tests/video/engine_rig.h"
#include "video/effective_settings.h"

namespace orventa {
namespace {

TEST(EffectiveSettings, RunOverGameOverUser) {
  EffectiveSettings settings(Config{});
  settings.SetTarget({{"video.fps", "30"},
                      {"video.resolution", "720"},
                      {"capture.maximised_as_game", "any"},  // as older lists have it
                      {"no.such", "1"}});
  settings.SetSession({{"video.fps", "120"}});
  EXPECT_EQ(settings.config().capture.maximized_as_game, MaximizedAsGame::Any);
  EXPECT_EQ(settings.config().video.fps, 120U);
  EXPECT_EQ(settings.config().video.resolution, 720U);

  Config base;
  base.video.fps = 50;
  base.adapter = "second card";
  settings.SetBase(base);
  EXPECT_EQ(settings.config().video.fps, 120U);
  EXPECT_EQ(settings.config().adapter, "second card");
  settings.SetSession({});
  EXPECT_EQ(settings.config().video.fps, 30U);
  settings.SetTarget({});
  EXPECT_EQ(settings.config(), base);
}

TEST(EffectiveSettings, TheLongerReplayStaysForItsOwnLength) {
  Config base;
  base.replay.duration_seconds = 60;
  EffectiveSettings settings(base);
  settings.SetTarget({{"replay.duration_seconds", "300"}});
  settings.KeepForOldTarget(1000 * kSec);
  EXPECT_EQ(settings.config(), base);
  EXPECT_EQ(settings.ReplaySeconds(), 300U);
  EXPECT_FALSE(settings.ExpireKept(1300 * kSec - 1));
  EXPECT_EQ(settings.ReplaySeconds(), 300U);
  EXPECT_TRUE(settings.ExpireKept(1300 * kSec));
  EXPECT_FALSE(settings.ExpireKept(1301 * kSec));
  EXPECT_EQ(settings.ReplaySeconds(), 60U);

  // A shorter one that went does not shorten what is in force.
  settings.SetTarget({{"replay.duration_seconds", "10"}});
  settings.KeepForOldTarget(2000 * kSec);
  EXPECT_EQ(settings.ReplaySeconds(), 60U);
}

TEST(EffectiveSettings, WhatNeedsARestart) {
  struct Row {
    const char* what;
    void (*change)(Config&);
    SettingEffects expected;
  };
  const Row rows[] = {
      {"nothing", [](Config&) {}, {}},
      {"bitrate", [](Config& c) { c.video.bitrate_kbps = 1000; }, {.restart = true}},
      {"adapter", [](Config& c) { c.adapter = "x"; }, {.restart = true}},
      {"cursor", [](Config& c) { c.capture.capture_cursor = false; }, {.restart = true}},
      {"sound", [](Config& c) { c.audio.enabled = false; }, {.sound = true}},
      {"replay length", [](Config& c) { c.replay.duration_seconds = 5; }, {}},
      {"folders", [](Config& c) { c.storage.replay.directory = "/x"; }, {}},
      {"clip length", [](Config& c) { c.service.save_seconds = 5; }, {}},
  };
  for (const Row& row : rows) {
    Config after;
    row.change(after);
    EXPECT_EQ(EffectsOfChange({}, after), row.expected) << row.what;
  }
}

}  // namespace
}  // namespace orventa
