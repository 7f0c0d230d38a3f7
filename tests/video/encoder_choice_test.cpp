#include "video/encoder_choice.h"

#include <gtest/gtest.h>

#include "encoders/encoders.h"

namespace orventa {
namespace {

TEST(EncoderChoice, SizeKeepsTheShapeAndIsEven) {
  struct Row {
    PictureSize source;
    uint32_t height;
    PictureSize expected;
  };
  const Row rows[] = {
      {{1920, 1080}, 0, {1920, 1080}},    {{1921, 1081}, 0, {1920, 1080}},
      {{3840, 2160}, 1080, {1920, 1080}}, {{3440, 1440}, 1080, {2580, 1080}},
      {{1080, 1920}, 720, {406, 720}},    {{1280, 720}, 1080, {1920, 1080}},
      {{1920, 1080}, 361, {640, 360}},    {{1, 1}, 0, {2, 2}},
      {{1, 4000}, 360, {2, 360}},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(EncodedSize(row.source, row.height), row.expected)
        << row.source.width << "x" << row.source.height << " at " << row.height;
  }
}

TEST(EncoderChoice, BitratesFollowTheSettings) {
  Config config;
  config.video.bitrate_auto = false;
  config.video.bitrate_kbps = 10'001;
  config.video.max_bitrate_percent = 200;
  EncoderSettings chosen = ChooseEncoderSettings(config, {1920, 1080}, {});
  EXPECT_EQ(chosen.bitrate_kbps, 10'001U);
  EXPECT_EQ(chosen.max_bitrate_kbps, 20'002U);

  config.video.bitrate_auto = true;
  chosen = ChooseEncoderSettings(config, {1920, 1080}, {});
  EXPECT_EQ(chosen.bitrate_kbps, AutomaticBitrateKbps(1920, 1080, 60, Codec::H264));
  EXPECT_EQ(chosen.max_bitrate_kbps, chosen.bitrate_kbps * 3 / 2);
}

TEST(EncoderChoice, DepthAndSignal) {
  struct Row {
    const char* what;
    Codec codec;
    bool ten_bit, hdr, display_hdr;
    EncoderInput input;
    Transfer transfer;
  };
  const Row rows[] = {
      {"plain", Codec::Hevc, false, false, false, EncoderInput::Nv12, Transfer::Bt709},
      {"ten bits", Codec::Hevc, true, false, false, EncoderInput::P010, Transfer::Bt709},
      {"ten bits are not for h264", Codec::H264, true, false, false, EncoderInput::Nv12,
       Transfer::Bt709},
      {"hdr display", Codec::Av1, false, true, true, EncoderInput::P010, Transfer::Pq},
      {"sdr display", Codec::Av1, false, true, false, EncoderInput::Nv12, Transfer::Bt709},
      {"hdr not wanted", Codec::Av1, false, false, true, EncoderInput::Nv12, Transfer::Bt709},
      {"no hdr in h264", Codec::H264, true, true, true, EncoderInput::Nv12, Transfer::Bt709},
  };
  for (const Row& row : rows) {
    Config config;
    config.video.codec = row.codec;
    config.video.ten_bit = row.ten_bit;
    config.video.hdr = row.hdr;
    const DisplayDescription display{.hdr_on = row.display_hdr, .sdr_white = 2.5F, .peak = 12.5F};
    const EncoderSettings chosen = ChooseEncoderSettings(config, {1920, 1080}, display);
    EXPECT_EQ(chosen.input_format, row.input) << row.what;
    EXPECT_EQ(chosen.transfer, row.transfer) << row.what;
    const bool pq = row.transfer == Transfer::Pq;
    EXPECT_EQ(chosen.colour_primaries == ColourPrimaries::Bt2020, pq) << row.what;
    EXPECT_EQ(chosen.mastering.max_nits, pq ? 1000.0F : 0.0F) << row.what;
    const Mp4VideoTrack track = DescribeVideo(chosen, display, {1});
    EXPECT_EQ(track.bit_depth, row.input == EncoderInput::P010 ? 1U : 0U) << row.what;
    EXPECT_EQ(track.sdr_white_nits, pq ? 200.0F : 0.0F) << row.what;
  }
}

// One engine of the card does 1 / (fixed + per megapixel) frames a second; half of
// that is 58.7 for HEVC at 4K, 193 at 1080p, and 76.9 for AV1 at 4K.
TEST(EncoderChoice, SplitsWhereOneEngineHasLittleHeadroom) {
  EXPECT_TRUE(WantsSplitEncode(Codec::Hevc, {3840, 2160}, 60));
  EXPECT_FALSE(WantsSplitEncode(Codec::Hevc, {3840, 2160}, 50));
  EXPECT_FALSE(WantsSplitEncode(Codec::Hevc, {1920, 1080}, 200));
  EXPECT_TRUE(WantsSplitEncode(Codec::Hevc, {1920, 1080}, 240));
  EXPECT_FALSE(WantsSplitEncode(Codec::Av1, {3840, 2160}, 60));
  EXPECT_TRUE(WantsSplitEncode(Codec::Av1, {3840, 2160}, 120));
}

TEST(HistoryOptions, BudgetFollowsTheLargestBitrateAndTheLimit) {
  Config config;
  config.replay.duration_seconds = 600;
  config.video.bitrate_auto = false;
  config.video.bitrate_kbps = 20'000;
  config.recording = config.video;
  config.recording.bitrate_kbps = 90'000;
  const BudgetBasis basis{.source = {1920, 1080}, .encoder_bitrate_kbps = 30'000};
  const auto options = [&](const BudgetBasis& on) {
    return HistoryOptions(EffectiveSettings(config), on, "/data/replay");
  };

  // seconds x kbps x 1000 / 8 x 1.6 = seconds x kbps x 200 bytes.
  EXPECT_EQ(options({}).max_bytes, 600ULL * 50'000 * 200);
  EXPECT_EQ(options(basis).max_bytes, 600ULL * 30'000 * 200);
  EXPECT_TRUE(options(basis).elastic);
  EXPECT_EQ(options(basis).directory, "");
  config.recording_use_video_settings = false;
  EXPECT_EQ(options(basis).max_bytes, 600ULL * 90'000 * 200);

  config.replay.max_memory_limited = true;
  config.replay.max_memory_mb = 300;
  EXPECT_EQ(options(basis).max_bytes, 300ULL << 20U);
  EXPECT_FALSE(options(basis).elastic);
  // 300 MiB at 30,000 kbps are 83.8 seconds.
  EXPECT_EQ(ReplaySecondsWithinLimit(EffectiveSettings(config), basis), 83U);

  config.replay.storage = ReplayStorage::Disk;
  EXPECT_EQ(options(basis).directory, "/data/replay");
  EXPECT_TRUE(options(basis).elastic);
  EXPECT_EQ(ReplaySecondsWithinLimit(EffectiveSettings(config), basis), 600U);
}

}  // namespace
}  // namespace orventa
