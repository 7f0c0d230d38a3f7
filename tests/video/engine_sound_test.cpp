// Sound beside the picture in a running engine: one timeline, whatever happens.
#include <gtest/gtest.h>

#include <map>

#include "tests/fakes/fake_sound.h"
#include "tests/video/engine_rig.h"

namespace orventa {
namespace {

struct SoundRig : EngineRig {
  SoundRig() {
    sources = &sound;
    backend.on_frame = [this](const EncoderFrame& frame) {
      frames[backend.opened].push_back({frame.pts, clock.SteadyNs()});
    };
  }
  ~SoundRig() { engine.reset(); }

  struct Frame {
    uint64_t pts = 0;
    uint64_t taken_ns = 0;  // steady clock
  };
  FakeSound sound;
  std::map<int, std::vector<Frame>> frames;  // by pipeline, from 1
};

// Every stretch of sound tells in its samples when it was heard: it must lie on the
// timeline where the picture of that time lies.
void ExpectSoundOnPicture(const SoundRig& rig, const std::string& what) {
  uint64_t end = 0;
  ASSERT_EQ(rig.sound.encoders.size(), rig.frames.size()) << what;
  for (const auto& [pipeline, frames] : rig.frames) {
    const FakeSound::Encoder& track = *rig.sound.encoders[static_cast<size_t>(pipeline) - 1];
    ASSERT_FALSE(track.heard.empty()) << what;
    EXPECT_GE(track.heard.front().pts, end) << what << ", pipeline " << pipeline;
    for (const SoundRig::Frame& frame : {frames.front(), frames.back()}) {
      for (const FakeSound::Heard& heard : track.heard) {
        const uint64_t taken_ns = heard.pts + (frame.taken_ns - frame.pts) - kSlot60 / 2;
        const int off = heard.samples[0] - FakeSource::MsMark(taken_ns);
        ASSERT_LE(std::abs(off), 1) << what << ", pipeline " << pipeline << ", " << heard.pts;
      }
    }
    const FakeSound::Heard& last = track.heard.back();
    end = last.pts + last.samples.size() / 2 * kSec / 48000;
    EXPECT_GE(end, frames.back().pts + kSlot60) << what << ": the sound covers the picture";
    EXPECT_LT(end, frames.back().pts + kSlot60 + 22 * kMs) << what;
  }
}

TEST(EngineSound, LiesOnThePictureWhateverHappens) {
  struct Row {
    const char* name;
    void (*happen)(SoundRig& rig);
    size_t pipelines;
  };
  const Row rows[] = {
      {"settings",
       [](SoundRig& rig) {
         rig.config.video.bitrate_auto = false;
         (void)rig.engine->ApplySettings(rig.config, rig.list);
       },
       2},
      {"a hole of missed slots",
       [](SoundRig& rig) {
         rig.screen.acquire_cost_ns = 1200 * kMs;
         rig.clock.After(kSec, [&] { rig.screen.acquire_cost_ns = 0; });
       },
       1},
      {"a lost card",
       [](SoundRig& rig) {
         rig.graphics.removed_reason = 1;
         rig.clock.After(kSec, [&] { rig.graphics.removed_reason = 0; });
       },
       2},
      {"another game",
       [](SoundRig& rig) {
         rig.screen.gone = true;
         rig.clock.After(300 * kMs, [&] {
           rig.screen.gone = false;
           rig.targets.Show(FakeTargets::Window(8, "another"));
         });
         rig.targets.found.reset();
       },
       2},
      {"sound that is built anew",
       [](SoundRig& rig) {
         rig.config.audio.bitrate_bps = 96'000;
         (void)rig.engine->ApplySettings(rig.config, rig.list);
       },
       2},
  };
  for (const Row& row : rows) {
    SoundRig rig;
    rig.StartOnWindow(3 * kSec);
    row.happen(rig);
    rig.Run(6 * kSec);
    EXPECT_EQ(rig.frames.size(), row.pipelines) << row.name;
    // The end of a pipeline that is stopped is heard by nobody: one that is not.
    rig.config.video.bitrate_kbps = 5000;
    rig.config.video.bitrate_auto = false;
    ASSERT_TRUE(rig.engine->ApplySettings(rig.config, rig.list).ok());
    rig.backend.create = {StatusCode::DriverError, "no more"};
    rig.Run(kSec);
    rig.sound.encoders.resize(rig.frames.size());  // without that of the build that failed
    ExpectSoundOnPicture(rig, row.name);
  }
}

TEST(EngineSound, LiveSettingsBuildNothingAnewAndOthersDo) {
  SoundRig rig;
  rig.config.audio.microphone = true;
  rig.StartOnWindow(2 * kSec);
  const auto apply = [&] {
    EXPECT_TRUE(rig.engine->ApplySettings(rig.config, rig.list).ok());
    rig.Run(kSec);
    return rig.backend.opened;
  };
  rig.config.audio.microphone_volume = 0;
  rig.config.audio.system_volume = 0;
  rig.config.audio.push_to_talk = true;
  EXPECT_EQ(apply(), 1);
  EXPECT_LT(rig.engine->Levels().system, 0.001F);
  EXPECT_FALSE(rig.engine->Levels().microphone_open);
  rig.engine->SetPushToTalkHeld(true);
  rig.Run(kSec);
  EXPECT_TRUE(rig.engine->Levels().microphone_open);
  rig.config.captions.enabled = true;
  EXPECT_EQ(apply(), 2) << "a track for the voice";
  EXPECT_EQ(rig.Look().history_resets, 1U);
  rig.config.audio.separate_tracks = true;
  EXPECT_EQ(apply(), 3);
  rig.config.captions.from = CaptionsSource::Mix;
  EXPECT_EQ(apply(), 4);
  EXPECT_GT(rig.Look().buffered_seconds, 5) << "the picture stays";
}

TEST(EngineSound, DoesNotWaitForSlotsThatAreFarApart) {
  SoundRig rig;
  rig.config.video.fps = 1;
  rig.StartOnWindow(4 * kSec);
  const auto& heard = rig.sound.encoders.at(0)->heard;
  ASSERT_GT(heard.size(), 10U);
  for (size_t i = 1; i < heard.size(); ++i) EXPECT_LE(heard[i].samples.size(), 2U * 4800) << i;
}

TEST(EngineSound, OfARecordingsNextFileBeginsWithItsPicture) {
  SoundRig rig;
  rig.StartOnWindow(2 * kSec);
  std::string path;
  ASSERT_TRUE(rig.engine->StartRecording(path).ok());
  rig.Run(3 * kSec);
  rig.screen.width = 800;
  rig.Run(4 * kSec);
  ASSERT_EQ(rig.drive.files.size(), 2U);
  const auto first_picture = static_cast<uint64_t>(rig.drive.files[1]->pictures.at(0).pts);
  const std::vector<uint64_t>& sound = rig.drive.files[1]->sound_pts[0];
  EXPECT_LE(sound.at(0), first_picture);
  EXPECT_GT(sound.at(1), first_picture);
  for (size_t i = 1; i < sound.size(); ++i) ASSERT_EQ((sound[i] - sound[i - 1]) / 1000, 21'333U);
}

TEST(EngineSound, TellsDevicesAndTrouble) {
  SoundRig rig;
  rig.config.audio.microphone = true;
  rig.sound.microphone.trouble = "denied";
  rig.sound.all.trail = {{.device = "Speakers", .reason = "start", .number = 1}};
  rig.StartOnWindow(3 * kSec);
  EngineSnapshot look = rig.Look();
  EXPECT_TRUE(look.microphone);
  EXPECT_EQ(look.microphone_trouble, "denied");
  ASSERT_NE(look.sound_devices, nullptr);
  EXPECT_EQ(*look.sound_devices, rig.sound.all.trail);
  EXPECT_GT(rig.engine->Levels().system, 0);
  rig.engine->SetPaused(true);
  rig.Run(kSec);
  look = rig.Look();
  EXPECT_FALSE(look.microphone);
  EXPECT_EQ(look.microphone_trouble, "");
  EXPECT_EQ(rig.engine->Levels().system, 0);
  EXPECT_EQ(rig.sound.all.alive + rig.sound.microphone.alive, 0);
}

}  // namespace
}  // namespace orventa
