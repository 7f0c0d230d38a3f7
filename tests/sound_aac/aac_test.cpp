// What every encoder promises, and the helpers that know no platform.
#include <gtest/gtest.h>

#include "base/clock.h"
#include "base/rescale.h"
#include "tests/sound_aac/platform_aac.h"

namespace orventa {
namespace {

TEST(Aac, RefusesSettingsBeforeThePlatformIsAsked) {
  const struct {
    AacSettings settings;
    const char* says;
  } rows[] = {{{8000, 2}, "AAC encoder supports 44100 or 48000 Hz"},
              {{96000, 1}, "AAC encoder supports 44100 or 48000 Hz"},
              {{48000, 3}, "AAC encoder supports mono or stereo only"},
              {{44100, 0}, "AAC encoder supports mono or stereo only"}};
  for (const auto& row : rows) {
    std::unique_ptr<IAacEncoder> encoder;
    EXPECT_EQ(test::MakeAacEncoder(row.settings, encoder),
              Status(StatusCode::InvalidArgument, row.says));
  }
}

TEST(Aac, RoundsTheBitRate) {
  const uint32_t rows[][2] = {{0, 96000},       {64000, 96000},   {96000, 96000},
                              {127999, 96000},  {140000, 128000}, {160000, 160000},
                              {191999, 160000}, {192000, 192000}, {320000, 192000}};
  for (const auto& [wanted, given] : rows) EXPECT_EQ(AacBitrate(wanted), given) << wanted;
}

// Blocks of odd sizes from time `base` on, every packet taken at once.
void CheckPackets(const AacSettings& settings, uint64_t base) {
  std::unique_ptr<IAacEncoder> encoder;
  const Status made = test::MakeAacEncoder(settings, encoder);
  if (made.code() == StatusCode::BackendUnavailable) GTEST_SKIP() << made.ToString();
  ASSERT_TRUE(made.ok()) << made.ToString();
  EXPECT_EQ(encoder->Format(), (SoundFormat{settings.sample_rate, settings.channels}));
  // AAC-LC, the rate's index, the channels.
  const uint32_t index = settings.sample_rate == 48000 ? 3 : 4;
  ASSERT_GE(encoder->Config().size(), 2u);
  EXPECT_EQ(encoder->Config()[0] << 8 | encoder->Config()[1],
            2u << 11 | index << 7 | settings.channels << 3);

  AacPacket packet;
  Status status;
  uint64_t position = 0;
  uint64_t packets = 0;
  const auto take = [&] {
    while (encoder->Next(packet, status)) {
      const uint64_t due = base + Rescale(packets++ * 1024, settings.sample_rate, kNsPerSecond);
      EXPECT_NEAR(static_cast<double>(packet.pts), static_cast<double>(due), 200);
      EXPECT_FALSE(packet.bytes.empty());
    }
    EXPECT_TRUE(status.ok()) << status.ToString();
  };
  for (const uint64_t frames : {0, 1, 1022, 1, 480, 4801, 7, 2048, 1024, 30000, 3}) {
    const std::vector<int16_t> samples(frames * settings.channels, 1000);
    const uint64_t pts = base + Rescale(position, settings.sample_rate, kNsPerSecond);
    ASSERT_TRUE(encoder->Encode(samples, pts).ok());
    position += frames;
    take();
    EXPECT_LE(packets, position / 1024);
    EXPECT_GE(packets + 2, position / 1024);
  }
  ASSERT_TRUE(encoder->Flush().ok());
  take();
  EXPECT_EQ(packets, (position + 1023) / 1024);
  EXPECT_TRUE(encoder->Flush().ok());
  EXPECT_EQ(encoder->Encode(std::vector<int16_t>(2048), 0).code(), StatusCode::InvalidArgument);
  EXPECT_FALSE(encoder->Next(packet, status));
}

TEST(Aac, EveryFrameLiesInThePacketOfItsTime) {
  CheckPackets({48000, 2}, 0);
  CheckPackets({44100, 1, 96000}, 77'777'777'700);
}

}  // namespace
}  // namespace orventa
