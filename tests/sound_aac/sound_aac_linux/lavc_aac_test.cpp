// Sound through the encoder and a clip, and out again by ffmpeg: nothing is shifted.
#include "sound/sound_linux/lavc_aac.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>

#include "base/clock.h"
#include "base/rescale.h"
#include "tests/fakes/counted_heap.h"
#include "tests/fakes/temp_folder.h"
#include "tests/mp4/clip_fixture.h"
#include "tests/sound_aac/platform_aac.h"

namespace orventa {

Status test::MakeAacEncoder(const AacSettings& settings, std::unique_ptr<IAacEncoder>& out) {
  return MakeLavcAacEncoder(settings, out);
}

namespace {

constexpr uint64_t kFrames = 48 * 1024;  // of each stretch of sound
constexpr uint64_t kClicks[] = {3000, 15'001, 30'333, 44'444};

// A stretch of clicks, as a pipeline encodes it, behind what `sound` holds.
void AddStretch(const AacSettings& settings, uint64_t base, Mp4SoundTrack& sound) {
  std::vector<int16_t> samples(kFrames * settings.channels);
  for (const uint64_t click : kClicks) {
    for (size_t i = 0; i < settings.channels; ++i) samples[click * settings.channels + i] = 30'000;
  }
  std::unique_ptr<IAacEncoder> encoder;
  ASSERT_TRUE(MakeLavcAacEncoder(settings, encoder).ok());
  ASSERT_TRUE(encoder->Encode(samples, base).ok());
  ASSERT_TRUE(encoder->Flush().ok());
  sound.format = {settings.sample_rate, settings.channels, {}};
  sound.format.config.assign(encoder->Config().begin(), encoder->Config().end());
  AacPacket packet;
  for (Status status; encoder->Next(packet, status);) {
    sound.packets.push_back(test::Packet(packet.bytes, packet.pts));
  }
}

// The clip's sound, in the channel last.
std::vector<double> Decode(const Mp4Movie& movie) {
  const TempFolder folder;
  EXPECT_TRUE(WriteMp4(folder / "clip.mp4", movie).ok());
  const std::string command = "ffmpeg -nostdin -v quiet -i " + (folder / "clip.mp4") +
                              " -map 0:a -af aresample=async=1:first_pts=0 -f s16le " +
                              (folder / "pcm");
  EXPECT_EQ(std::system(command.c_str()), 0);
  const std::vector<uint8_t> bytes = test::ReadFile(folder / "pcm");
  std::vector<int16_t> samples(bytes.size() / 2);
  std::memcpy(samples.data(), bytes.data(), samples.size() * 2);
  std::vector<double> out;
  const size_t channels = movie.sound[0].format.channels;
  for (size_t i = channels - 1; i < samples.size(); i += channels) out.push_back(samples[i]);
  return out;
}

// Two stretches with a hole filled by silence between them, in clips that begin
// earlier, with and later than the sound.
void CheckClicks(const AacSettings& settings, int64_t begin_ms) {
  const auto at = [&](uint64_t frames) {
    return test::kStart - static_cast<uint64_t>(begin_ms * 1'000'000) +
           Rescale(frames, settings.sample_rate, kNsPerSecond);
  };
  constexpr uint64_t kHole = 20 * 1024;
  std::vector<uint8_t> silence;
  ASSERT_TRUE(MakeSilentAacPacket(MakeLavcAacEncoder, settings, silence).ok());
  Mp4Movie movie = test::VideoMovie(180);
  Mp4SoundTrack& sound = movie.sound.emplace_back();
  AddStretch(settings, at(0), sound);
  for (uint64_t n = kFrames; n < kFrames + kHole; n += 1024) {
    sound.packets.push_back(test::Packet(silence, at(n)));
  }
  AddStretch(settings, at(kFrames + kHole), sound);
  const std::vector<double> heard = Decode(movie);

  const int64_t shift = begin_ms * settings.sample_rate / 1000;
  const auto place = [&](uint64_t frame) {
    return heard.begin() + std::max<int64_t>(static_cast<int64_t>(frame) - shift, 0);
  };
  ASSERT_GE(heard.size(), static_cast<size_t>(2 * kFrames + kHole - 1024) -
                              static_cast<size_t>(std::max<int64_t>(shift, 0)));
  for (const uint64_t stretch : {uint64_t{0}, kFrames + kHole}) {
    for (const uint64_t click : kClicks) {
      const auto due = place(stretch + click);
      const auto peak = std::max_element(due - 2000, due + 2000);
      EXPECT_LE(std::abs(peak - due), settings.sample_rate / 1000) << stretch + click;
      EXPECT_GT(*peak, 5000);
    }
  }
  const auto loudest = std::max_element(place(kFrames + 2048), place(kFrames + kHole - 1024));
  EXPECT_LE(*loudest, 1);
}

TEST(LavcAac, ClicksStayWhereTheyWere) {
  CheckClicks({48000, 2}, 0);
  CheckClicks({48000, 1, 96000}, 7);
  CheckClicks({44100, 2, 192000}, -300);
  CheckClicks({44100, 1, 96000}, 0);
}

TEST(LavcAac, AJumpOfTimesShowsInTheNextPacket) {
  std::unique_ptr<IAacEncoder> encoder;
  ASSERT_TRUE(MakeLavcAacEncoder({}, encoder).ok());
  const std::vector<int16_t> samples(size_t{1500} * 2);
  ASSERT_TRUE(encoder->Encode(samples, 0).ok());
  ASSERT_TRUE(encoder->Encode(samples, kNsPerSecond).ok());
  ASSERT_TRUE(encoder->Flush().ok());
  std::vector<uint64_t> times;
  AacPacket packet;
  for (Status status; encoder->Next(packet, status);) times.push_back(packet.pts);
  EXPECT_EQ(times, (std::vector<uint64_t>{0, 21'333'333, kNsPerSecond + 11'416'667}));
}

TEST(LavcAac, EncodesWithoutAllocating) {
  std::unique_ptr<IAacEncoder> encoder;
  ASSERT_TRUE(MakeLavcAacEncoder({}, encoder).ok());
  std::vector<int16_t> samples(size_t{4800} * 2);
  for (size_t i = 0; i < samples.size(); ++i) samples[i] = static_cast<int16_t>(i * 7919);
  AacPacket packet;
  Status status;
  std::atomic<uint64_t> count = 0;
  for (int round = 0; round < 60; ++round) {
    if (round == 30) CountAllocationsInto(&count);
    EXPECT_TRUE(encoder->Encode(samples, 0).ok());
    while (encoder->Next(packet, status)) EXPECT_TRUE(status.ok());
  }
  CountAllocationsInto(nullptr);
  EXPECT_EQ(count, 0u);
}

}  // namespace
}  // namespace orventa
