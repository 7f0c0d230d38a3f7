// The engine's sound as others find it in the file: what each track holds, and when.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <numbers>
#include <vector>

#include "sound/sound_linux/lavc_aac.h"
#include "tests/fakes/fake_sound.h"
#include "tests/fakes/temp_folder.h"
#include "tests/fakes/tone_level.h"
#include "tests/video/engine_rig.h"

namespace orventa {
namespace {

constexpr double kGameHz = 440;
constexpr double kVoiceHz = 620;

class EncodedSound final : public FakeSound {
 public:
  Status MakeAacEncoder(const AacSettings& settings, std::unique_ptr<IAacEncoder>& out) override {
    return MakeLavcAacEncoder(settings, out);
  }
};

int16_t Tone(double hz, uint64_t at_ns) {
  const double seconds = static_cast<double>(at_ns) / static_cast<double>(kSec);
  return static_cast<int16_t>(16384 * std::sin(2 * std::numbers::pi * hz * seconds));
}

struct Clip {
  const TempFolder& folder;
  std::string path;

  std::string Run(const std::string& command) const {
    const std::string out = folder / "out";
    EXPECT_EQ(std::system((command + " >'" + out + "'").c_str()), 0);
    std::string bytes;
    EXPECT_TRUE(ReadWholeFile(out, 64U << 20U, bytes).ok());
    return bytes;
  }
  std::string SoundStreams() const {
    return Run(
        "ffprobe -v quiet -select_streams a -of csv=p=0 "
        "-show_entries stream=codec_name,sample_rate,channels '" +
        path + "'");
  }
  std::vector<int16_t> Track(int number) const {
    const std::string bytes = Run("ffmpeg -nostdin -v quiet -i '" + path +
                                  "' -map 0:a:" + std::to_string(number) + " -f s16le -");
    std::vector<int16_t> samples(bytes.size() / 2);
    std::memcpy(samples.data(), bytes.data(), samples.size() * 2);
    return samples;
  }
};

TEST(EngineSoundFile, TheTalkKeyOpensTheMicrophonesTrack) {
  const TempFolder folder;
  EncodedSound sound;
  sound.all.play = [](uint64_t at_ns) {
    return std::pair(Tone(kGameHz, at_ns), Tone(kGameHz, at_ns));
  };
  sound.microphone.play = [](uint64_t at_ns) {
    return std::pair(Tone(kVoiceHz, at_ns), int16_t{0});
  };
  EngineRig rig;
  rig.sources = &sound;
  rig.backend.header = [](const EncoderSettings&) { return kHeader; };
  rig.config.storage.replay.directory = folder.path();
  rig.config.audio.microphone = rig.config.audio.separate_tracks = true;
  rig.config.audio.microphone_mono = rig.config.audio.push_to_talk = true;
  rig.StartOnWindow(3 * kSec);
  rig.engine->SetPushToTalkHeld(true);
  rig.Run(2 * kSec);
  rig.engine->SetPushToTalkHeld(false);
  rig.Run(3 * kSec);
  Clip clip{folder, {}};
  const Status saved = rig.engine->SaveReplay(0, clip.path);
  ASSERT_TRUE(saved.ok()) << saved.ToString();
  rig.engine.reset();

  EXPECT_EQ(clip.SoundStreams(), "aac,48000,2\naac,48000,2\n");
  const std::vector<int16_t> game = clip.Track(0);
  const std::vector<int16_t> voice = clip.Track(1);
  // Half of the one channel's loudness, in the middle; let go with its tail and fade.
  const struct {
    double from;
    double to;
    double voice;
  } rows[] = {{0.2, 2.9, 0}, {3.1, 5.1, 0.25}, {5.4, 7.5, 0}};
  for (const auto& row : rows) {
    const auto first = static_cast<size_t>(row.from * 96'000);
    const auto count = static_cast<size_t>((row.to - row.from) * 96'000);
    ASSERT_GE(std::min(game.size(), voice.size()), first + count);
    EXPECT_NEAR(ToneLevel(std::span(voice).subspan(first, count), kVoiceHz), row.voice, 0.01);
    EXPECT_NEAR(ToneLevel(std::span(voice).subspan(first, count), kGameHz), 0, 0.001);
    EXPECT_NEAR(ToneLevel(std::span(game).subspan(first, count), kGameHz), 0.5, 0.01);
    EXPECT_NEAR(ToneLevel(std::span(game).subspan(first, count), kVoiceHz), 0, 0.001);
  }
}

}  // namespace
}  // namespace orventa
