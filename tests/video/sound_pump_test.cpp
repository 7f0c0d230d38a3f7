// From sources to tracks to packets, without an engine: the pump is driven by hand.
#include "video/sound_pump.h"

#include <gtest/gtest.h>

#include "base/rescale.h"
#include "tests/fakes/fake_clock.h"
#include "tests/fakes/fake_sound.h"
#include "tests/fakes/fake_targets.h"

namespace orventa {
namespace {

const Status kGone{StatusCode::BackendUnavailable, "gone"};

struct PumpRig {
  SoundChain Open() {
    target.pid = 7;
    return OpenSoundChain(clock, sound, config, target, former);
  }
  void Start() {
    pump.emplace(Open(), levels);
    for (size_t i = 0; i < pump->Formats().size(); ++i) {
      histories.push_back(std::make_shared<AudioReplayBuffer>());
    }
    pump->SetHistories(histories);
    pump->Begin(kOrigin, kBase);
  }
  // In slots of 10 ms, as late as the engine does it.
  void RunUntil(uint64_t until_ns, bool key_held = false) {
    for (; at_ns < until_ns; at_ns += 10 * kNsPerMs) pump->Pump(at_ns + kLate, at_ns, key_held);
  }
  // All that a track's encoder was given, checking that no pts lies off.
  std::vector<int16_t> Given(size_t track) const {
    std::vector<int16_t> all;
    const FakeSound::Encoder& encoder = *sound.encoders[track];
    for (const FakeSound::Heard& heard : encoder.heard) {
      const uint64_t position = all.size() / encoder.settings.channels;
      EXPECT_EQ(heard.pts, kBase + Rescale(position, encoder.settings.sample_rate, kNsPerSecond));
      all.insert(all.end(), heard.samples.begin(), heard.samples.end());
    }
    return all;
  }

  static constexpr uint64_t kOrigin = 1000 * kNsPerSecond;
  static constexpr uint64_t kBase = 5 * kNsPerSecond;
  static constexpr uint64_t kLate = 100 * kNsPerMs;
  FakeClock clock;
  FakeSound sound;
  Config config;
  FoundTarget target = FakeTargets::Window(7, "game");
  std::optional<SoundLayout> former;
  SoundLevels levels;
  std::optional<SoundPump> pump;
  std::vector<std::shared_ptr<AudioReplayBuffer>> histories;
  uint64_t at_ns = kOrigin;
};

TEST(SoundChain, TakesWhatItCanGet) {
  struct Row {
    const char* name;
    void (*set)(Config::Audio& audio, PumpRig& rig);
    std::string made;
    std::string tracks;  // and whether a microphone is heard
  };
  const Row rows[] = {
      {"default", [](auto&, auto&) {}, "except ", "mix "},
      {"mixed", [](auto& a, auto&) { a.microphone = true; }, "except microphone ", "mix heard "},
      {"separate", [](auto& a, auto&) { a.microphone = a.separate_tracks = true; },
       "except microphone ", "mix microphone heard "},
      {"separate without one",
       [](auto& a, auto& r) {
         a.microphone = a.separate_tracks = true;
         r.sound.microphone.start = kGone;
       },
       "except microphone ", "mix "},
      {"voice", [](auto& a, auto& r) { a.microphone = r.config.captions.enabled = true; },
       "except microphone ", "mix voice heard "},
      {"voice that no encoder takes",
       [](auto& a, auto& r) {
         a.microphone = r.config.captions.enabled = true;
         r.sound.encoder = [](const AacSettings& s) { return s.channels == 1 ? kGone : Status(); };
       },
       "except microphone ", "mix heard "},
      {"microphone alone",
       [](auto& a, auto&) {
         a.enabled = false;
         a.microphone = true;
       },
       "microphone ", "microphone heard "},
      {"another rate cannot be mixed",
       [](auto& a, auto& r) {
         a.microphone = true;
         r.sound.microphone.rate = 44100;
       },
       "except microphone ", "mix "},
      {"chosen output", [](auto& a, auto&) { a.output_device = "hdmi"; }, "output(hdmi) ", "mix "},
      {"no process captures", [](auto&, auto& r) { r.sound.all.make = kGone; }, "except output() ",
       "mix "},
      {"the game", [](auto& a, auto&) { a.capture_from_app = true; }, "only(7) ", "mix "},
      {"the game not",
       [](auto& a, auto& r) {
         a.capture_from_app = true;
         r.sound.game.make = kGone;
       },
       "only(7) except ", "mix "},
      {"does not start", [](auto&, auto& r) { r.sound.all.start = kGone; }, "except ", ""},
      {"no encoder", [](auto&, auto& r) { r.sound.encoder = [](auto&) { return kGone; }; },
       "except ", ""},
      {"off", [](auto& a, auto&) { a.enabled = false; }, "", ""},
  };
  for (const Row& row : rows) {
    PumpRig rig;
    row.set(rig.config.audio, rig);
    const SoundChain chain = rig.Open();
    std::string tracks;
    for (const SoundTrack& track : chain.tracks) {
      tracks += track.mono ? "voice " : track.from_microphone ? "microphone " : "mix ";
    }
    if (chain.microphone != nullptr) tracks += "heard ";
    EXPECT_EQ(rig.sound.made, row.made) << row.name;
    EXPECT_EQ(tracks, row.tracks) << row.name;
    EXPECT_EQ(rig.sound.all.alive + rig.sound.output.alive + rig.sound.game.alive,
              tracks.starts_with("mix") ? 1 : 0)
        << row.name;
  }
}

TEST(SoundChain, KeepsTheLayoutWhileTheSettingsStay) {
  PumpRig rig;
  rig.config.audio.microphone = rig.config.audio.separate_tracks = true;
  rig.former = rig.Open().layout;
  rig.sound.encoders.clear();
  rig.sound.microphone.start = rig.sound.all.start = kGone;
  rig.config.audio.system_volume = 10;  // taken live, so it changes no layout
  rig.Start();
  rig.RunUntil(PumpRig::kOrigin + kNsPerSecond + 10 * kNsPerMs);
  for (size_t track : {0U, 1U}) EXPECT_EQ(rig.Given(track), std::vector<int16_t>(96'000));
  EXPECT_EQ(rig.pump->MicrophoneTrouble(), "failed");

  rig.config.audio.bitrate_bps = 96'000;
  EXPECT_TRUE(rig.Open().tracks.empty());
}

TEST(SoundPump, VolumesCentreAndMix) {
  struct Row {
    uint32_t system_volume;
    uint32_t microphone_volume;
    bool centre;
    std::pair<int16_t, int16_t> mix;
    int16_t voice;
  };
  // The system plays (30000, -1000), the microphone hears (4001, -2000).
  const Row rows[] = {{100, 100, false, {32767, -3000}, 1000},
                      {50, 50, false, {17000, -1500}, 500},
                      {100, 50, true, {30500, -500}, 500},
                      {0, 0, true, {0, 0}, 0}};
  for (const Row& row : rows) {
    PumpRig rig;
    rig.config.audio.microphone = rig.config.captions.enabled = true;
    rig.sound.all.play = [](uint64_t) { return std::pair<int16_t, int16_t>(30000, -1000); };
    rig.sound.microphone.play = [](uint64_t) { return std::pair<int16_t, int16_t>(4001, -2000); };
    rig.Start();
    rig.config.audio.system_volume = row.system_volume;
    rig.config.audio.microphone_volume = row.microphone_volume;
    rig.config.audio.microphone_mono = row.centre;
    ASSERT_TRUE(rig.pump->Apply(rig.config));
    rig.RunUntil(PumpRig::kOrigin + 30 * kNsPerMs);
    EXPECT_EQ(std::pair(rig.Given(0).at(0), rig.Given(0).at(1)), row.mix);
    EXPECT_EQ(rig.Given(1).at(0), row.voice);
  }
}

TEST(SoundPump, TheTalkKeyCountsAtTheTimeItWasPressed) {
  PumpRig rig;
  rig.config.audio.enabled = false;
  rig.config.audio.microphone = rig.config.audio.push_to_talk = true;
  rig.sound.microphone.play = [](uint64_t) { return std::pair<int16_t, int16_t>(1000, 1000); };
  rig.Start();
  const uint64_t press = PumpRig::kOrigin + 500 * kNsPerMs;
  const uint64_t release = press + 300 * kNsPerMs;
  rig.RunUntil(press - PumpRig::kLate, false);
  rig.RunUntil(release - PumpRig::kLate, true);
  rig.RunUntil(press + 700 * kNsPerMs, false);
  const std::vector<int16_t> given = rig.Given(0);
  const auto at_ms = [&](size_t ms) { return given.at(ms * 96); };
  EXPECT_EQ(at_ms(480), 0);
  EXPECT_EQ(at_ms(520), 1000) << "open within a slot and 3 ms";
  EXPECT_EQ(at_ms(980), 1000) << "200 ms beyond the release";
  EXPECT_GT(at_ms(1060), 0) << "and fades";
  EXPECT_EQ(at_ms(1140), 0);
  EXPECT_FALSE(rig.levels.Read().microphone_open);
}

TEST(SoundPump, WhatAnEncoderRefusesBecomesSilenceAndMovesNothing) {
  PumpRig rig;
  rig.sound.all.play = [](uint64_t) { return std::pair<int16_t, int16_t>(500, 500); };
  rig.Start();
  rig.RunUntil(PumpRig::kOrigin + 500 * kNsPerMs);
  rig.sound.refuse = true;
  rig.RunUntil(PumpRig::kOrigin + 2500 * kNsPerMs);
  rig.sound.refuse = false;
  rig.RunUntil(PumpRig::kOrigin + 4000 * kNsPerMs);
  const std::vector<int16_t> given = rig.Given(0);  // with every pts in its place
  EXPECT_EQ(given.size(), 96U * 3990);
  EXPECT_EQ(given.at(96 * 480), 500);
  EXPECT_EQ(given.at(96 * 500), 0);
  EXPECT_EQ(given.at(96 * 2480), 0);
  EXPECT_EQ(given.at(96 * 2600), 500);

  const uint64_t until = rig.pump->WholePacketsUntil(PumpRig::kBase + 4100 * kNsPerMs);
  rig.pump->Pump(until, until, false);
  rig.pump->Flush();
  EXPECT_EQ(rig.Given(0).size() % (2 * kAacFrames), 0U);
  EXPECT_GE(rig.pump->EndPts(), PumpRig::kBase + 4100 * kNsPerMs);
  EXPECT_LT(rig.pump->EndPts(), PumpRig::kBase + 4122 * kNsPerMs);
}

TEST(SoundPump, GapsBetweenPipelinesAreSilent) {
  PumpRig rig;
  rig.config.audio.microphone = rig.config.captions.enabled = true;
  rig.Start();
  rig.RunUntil(PumpRig::kOrigin + kNsPerSecond);
  const uint64_t later = PumpRig::kBase + 3 * kNsPerSecond;
  rig.pump->FillGaps(rig.sound, later);
  for (const auto& history : rig.histories) {
    EXPECT_NEAR(static_cast<double>(history->EndTime()), static_cast<double>(later), 11e6);
    std::vector<BufferedPacket> packets;
    ASSERT_TRUE(history->Span(PumpRig::kBase, later, packets));
    EXPECT_NEAR(static_cast<double>(packets.size()), 3 * 46.9, 1);
    EXPECT_EQ(packets[20].payload.bytes()[0], 1);
    EXPECT_EQ(packets[100].payload.bytes()[0], 0);
  }
  // The filling was asked of encoders of each track's own format.
  ASSERT_EQ(rig.sound.encoders.size(), 4U);
  EXPECT_EQ(rig.sound.encoders[3]->settings, (AacSettings{48000, 1, 96'000}));
}

TEST(SoundPump, MetersTroubleAndBacklog) {
  PumpRig rig;
  rig.config.audio.microphone = true;
  int16_t loud = 16384;
  rig.sound.all.play = [&](uint64_t) { return std::pair<int16_t, int16_t>(100, -loud); };
  rig.Start();
  rig.RunUntil(PumpRig::kOrigin + 20 * kNsPerMs);
  EXPECT_FLOAT_EQ(rig.levels.Read().system, 0.5F);
  EXPECT_TRUE(rig.levels.Read().microphone_open);
  loud = 0;
  rig.RunUntil(PumpRig::kOrigin + 30 * kNsPerMs);
  EXPECT_FLOAT_EQ(rig.levels.Read().system, 0.45F * 100 / 32768 + 0.55F * 0.5F);
  rig.sound.microphone.trouble = "busy";
  EXPECT_EQ(rig.pump->MicrophoneTrouble(), "busy");

  rig.sound.all.read = kGone;
  rig.RunUntil(PumpRig::kOrigin + 3 * kNsPerSecond);
  EXPECT_GT(rig.levels.drops(), 0U) << "nothing took the microphone's sound";
  rig.sound.all.read = {};
  rig.RunUntil(PumpRig::kOrigin + 4 * kNsPerSecond);
  const std::vector<int16_t> given = rig.Given(0);
  ASSERT_EQ(given.size(), 96U * 3990) << "the system's sound came late and whole";
  // Mixed into it, when it came, is the newest second of the microphone.
  EXPECT_NEAR(given[96 * 30], 100 + FakeSource::MsMark(PumpRig::kOrigin + 2 * kNsPerSecond), 15);
}

}  // namespace
}  // namespace orventa
