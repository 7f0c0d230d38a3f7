// An engine on a fake clock with a fake card, screen, desktop and encoder: minutes
// of its time pass in milliseconds. Knobs are turned between `Run`s.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "tests/fakes/fake_clock.h"
#include "tests/fakes/fake_encoder.h"
#include "tests/fakes/fake_graphics.h"
#include "tests/fakes/fake_recording_drive.h"
#include "tests/fakes/fake_targets.h"
#include "video/engine.h"

namespace orventa {

inline constexpr uint64_t kMs = kNsPerMs;
inline constexpr uint64_t kSec = kNsPerSecond;
inline constexpr uint64_t kSlot60 = kNsPerSecond / 60;

// SPS and PPS of a 640x360 baseline stream at 60 fps, as libx264 wrote them.
inline const std::vector<uint8_t> kHeader = {
    0x00, 0x00, 0x00, 0x01, 0x67, 0x42, 0xc0, 0x1f, 0xd9, 0x00, 0xa0, 0x2f, 0xf9,
    0x70, 0x11, 0x00, 0x00, 0x03, 0x00, 0x01, 0x00, 0x00, 0x03, 0x00, 0x78, 0x0f,
    0x18, 0x32, 0x48, 0x00, 0x00, 0x00, 0x01, 0x68, 0xcb, 0x83, 0xcb, 0x20};

struct EngineRig {
  EngineRig() {
    config.replay.duration_seconds = 60;
    folders.local_data = folders.videos = folders.program = ::testing::TempDir();
  }

  void Start() {
    engine = MakeEngine({.clock = clock,
                         .graphics = graphics,
                         .targets = targets,
                         .windows = targets,
                         .backends = {&backend},
                         .sound = sources,
                         .drive = &drive},
                        folders, config, list);
    ASSERT_TRUE(engine->Start().ok());
  }
  // Starts with one window open and lets it run for a while.
  void StartOnWindow(uint64_t run_ns, std::string name = "game") {
    targets.Show(FakeTargets::Window(7, std::move(name)));
    Start();
    Run(run_ns);
  }
  void Run(uint64_t ns) { clock.RunFor(ns); }
  EngineSnapshot Look() const { return engine->GetStatus(); }

  FakeClock clock;
  FakeScreen screen{clock};
  FakeGraphics graphics{screen};
  FakeTargets targets;
  FakeEncoderBackend backend{clock};
  ISoundSources* sources = nullptr;  // none: a platform without sound
  FakeRecordingDrive drive{clock};
  KnownFolders folders;
  Config config;
  GameList list;
  std::unique_ptr<ReplayEngine> engine;
};

}  // namespace orventa
