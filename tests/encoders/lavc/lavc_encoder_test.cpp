#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "encoders/encoders.h"
#include "encoders/lavc/lavc.h"
#include "media/memory_picture.h"
#include "tests/encoders/fakes/fake_encoders.h"
#include "tests/encoders/lavc/decode.h"

// x265 loses a few kilobytes for each encoder that was ever opened.
extern "C" const char* __lsan_default_suppressions();
extern "C" const char* __lsan_default_suppressions() {
  return "leak:libx265\n";
}

namespace orventa {
namespace {

constexpr uint32_t kWidth = 320;
constexpr uint32_t kHeight = 180;
constexpr uint64_t kSlotNs = 16'666'667;
constexpr size_t kMostInside = 3;
constexpr uint64_t kFirstPts = 987'654'321'012'345;

EncoderSettings Small(Codec codec, EncoderInput input = EncoderInput::Nv12) {
  EncoderSettings settings;
  settings.codec = codec;
  settings.input_format = input;
  settings.width = kWidth;
  settings.height = kHeight;
  settings.bitrate_kbps = 2000;
  settings.max_bitrate_kbps = 3000;
  settings.keyframe_seconds = 1;
  return settings;
}

void SetSample(const PlaneView& plane, size_t x, size_t y, bool ten_bit, int code) {
  uint8_t* row = plane.data + y * plane.stride;
  if (!ten_bit) {
    row[x] = static_cast<uint8_t>(code);
    return;
  }
  row[x * 2] = static_cast<uint8_t>((code << 6) & 0xFF);
  row[x * 2 + 1] = static_cast<uint8_t>((code << 6) >> 8);
}

// A slope that moves with the frame, in one colour: 10-bit codes are four times as large.
int SlopeAt(uint32_t x, uint32_t y, uint32_t frame) {
  return static_cast<int>(16 + (x + y + 2 * frame) / 4 % 200);
}
constexpr int kChroma[] = {90, 160};

PictureRef Slope(PixelFormat format, uint32_t frame) {
  auto picture = MemoryPicture::Allocate(format, kWidth, kHeight);
  const bool ten_bit = format == PixelFormat::P010;
  const int scale = ten_bit ? 4 : 1;
  for (uint32_t y = 0; y < kHeight; ++y) {
    for (uint32_t x = 0; x < kWidth; ++x) {
      SetSample(picture->plane(0), x, y, ten_bit, scale * SlopeAt(x, y, frame));
      if (y % 2 == 0) SetSample(picture->plane(1), x, y / 2, ten_bit, scale * kChroma[x % 2]);
    }
  }
  return picture;
}

PictureRef Noise(uint32_t width, uint32_t height, uint32_t seed) {
  auto picture = MemoryPicture::Allocate(PixelFormat::Nv12, width, height);
  uint32_t state = seed * 2654435761U + 1;
  for (const uint32_t plane : {0U, 1U}) {
    for (uint32_t y = 0; y < (plane == 0 ? height : height / 2); ++y) {
      for (uint32_t x = 0; x < width; ++x) {
        state = state * 1664525U + 1013904223U;
        picture->plane(plane).data[y * picture->plane(plane).stride + x] =
            static_cast<uint8_t>(96 + (state >> 24U) % 64);
      }
    }
  }
  return picture;
}

class SoftwareEncoder : public ::testing::Test {
 protected:
  void Open(const EncoderSettings& settings) {
    packets.clear();
    submitted.clear();
    IEncoderBackend* software = LavcBackends().back();
    ASSERT_EQ(software->Name(), "Software");
    ASSERT_TRUE(software->Supports(device));
    const Status status = software->Create(device, settings, encoder);
    ASSERT_TRUE(status.ok()) << status.ToString();
    format = settings.input_format == EncoderInput::P010 ? PixelFormat::P010 : PixelFormat::Nv12;
    ASSERT_TRUE(encoder->Header(header).ok());
  }

  void Submit(const PictureRef& picture, uint64_t pts, bool keyframe = false) {
    const Status status = encoder->Submit({picture, pts, keyframe});
    ASSERT_TRUE(status.ok()) << status.ToString();
    submitted.push_back(static_cast<int64_t>(pts));
    Collect();
    EXPECT_LE(submitted.size() - packets.size(), kMostInside)
        << "frames held back would overrun a pool of 8";
  }

  CollectResult Collect() {
    for (;;) {
      EncodedPacket packet;
      Status status;
      const CollectResult result = encoder->Collect(packet, status);
      EXPECT_TRUE(status.ok()) << status.ToString();
      if (result != CollectResult::Packet) return result;
      packets.push_back(packet);
    }
  }

  void SubmitSlopes(uint32_t frames) {
    for (uint32_t i = 0; i < frames; ++i) Submit(Slope(format, i), kFirstPts + i * kSlotNs);
  }

  void Finish() {
    ASSERT_TRUE(encoder->Drain().ok());
    ASSERT_EQ(Collect(), CollectResult::Finished);
    std::vector<int64_t> pts;
    for (const EncodedPacket& packet : packets) {
      pts.push_back(packet.pts);
      EXPECT_EQ(packet.dts, packet.pts);
    }
    EXPECT_EQ(pts, submitted);
  }

  // Of the last packets.
  uint64_t BytesOfNoise(const EncoderSettings& settings, uint32_t frames, size_t last) {
    Open(settings);
    for (uint32_t i = 0; i < frames; ++i) {
      Submit(Noise(kWidth, kHeight, i), kFirstPts + i * kSlotNs);
    }
    Finish();
    uint64_t bytes = 0;
    for (const EncodedPacket& packet : std::span(packets).last(last)) bytes += packet.data.size();
    return bytes;
  }

  std::vector<size_t> Keyframes() const {
    std::vector<size_t> at;
    for (size_t i = 0; i < packets.size(); ++i) {
      if (packets[i].keyframe) at.push_back(i);
    }
    return at;
  }

  FakeDevice device;
  std::unique_ptr<IVideoEncoder> encoder;
  PixelFormat format = PixelFormat::Nv12;
  std::vector<uint8_t> header;
  std::vector<int64_t> submitted;
  std::vector<EncodedPacket> packets;
};

struct Kind {
  const char* name;
  Codec codec;
  EncoderInput input;
};

class EveryCodec : public SoftwareEncoder, public ::testing::WithParamInterface<Kind> {};

INSTANTIATE_TEST_SUITE_P(Software, EveryCodec,
                         ::testing::Values(Kind{"H264", Codec::H264, EncoderInput::Nv12},
                                           Kind{"Hevc", Codec::Hevc, EncoderInput::Nv12},
                                           Kind{"Hevc10", Codec::Hevc, EncoderInput::P010},
                                           Kind{"Av1", Codec::Av1, EncoderInput::Nv12},
                                           Kind{"Av1At10", Codec::Av1, EncoderInput::P010}),
                         [](const auto& row) { return std::string(row.param.name); });

TEST_P(EveryCodec, GivesEveryFrameBackAndItDecodesToThePicture) {
  Open(Small(GetParam().codec, GetParam().input));
  SubmitSlopes(20);
  Finish();
  EXPECT_EQ(Keyframes(), std::vector<size_t>{0});

  const auto frames = Decode(GetParam().codec, header, packets);
  ASSERT_EQ(frames.size(), 20U);
  const bool ten_bit = GetParam().input == EncoderInput::P010;
  const int scale = ten_bit ? 4 : 1;
  for (uint32_t i = 0; i < frames.size(); ++i) {
    EXPECT_EQ(frames[i].format, ten_bit ? "yuv420p10le" : "yuv420p");
    double error = 0;
    for (uint32_t y = 0; y < kHeight; ++y) {
      for (uint32_t x = 0; x < kWidth; ++x) {
        error += std::abs(frames[i].luma[y * kWidth + x] - scale * SlopeAt(x, y, i));
      }
    }
    EXPECT_LT(error / (kWidth * kHeight), 2.0 * scale) << "frame " << i;
    for (const int plane : {0, 1}) {
      EXPECT_NEAR(frames[i].chroma[plane], kChroma[plane] * scale, 4 * scale);
    }
    EXPECT_EQ(frames[i].colour, "bt709 bt709 bt709 tv");
  }
  // One that is given up in the middle lets go of everything.
  Open(Small(GetParam().codec, GetParam().input));
  SubmitSlopes(5);
}

TEST_P(EveryCodec, KeyframesComeAtTheirDistanceAndWhenAskedFor) {
  EncoderSettings settings = Small(GetParam().codec, GetParam().input);
  settings.fps_num = 10;
  settings.preset = "p5";  // another encoder's
  settings.b_frames = 3;
  Open(settings);
  for (uint32_t i = 0; i < 34; ++i) {
    Submit(Slope(format, i * 50), kFirstPts + i * kSlotNs * 6, i == 23);
  }
  Finish();
  const auto keyframes = Keyframes();
  ASSERT_GE(keyframes.size(), 4U);
  EXPECT_EQ(std::vector<size_t>(keyframes.begin(), keyframes.begin() + 4),
            (std::vector<size_t>{0, 10, 20, 23}));

  // Groups are closed: each one decodes on its own.
  const auto tail = std::span(packets).subspan(23);
  EXPECT_EQ(Decode(GetParam().codec, header, tail).size(), tail.size());
}

TEST_P(EveryCodec, TimesSurviveGapsAndRepeats) {
  Open(Small(GetParam().codec, GetParam().input));
  ASSERT_TRUE(encoder->AcceptsRepeats());
  const PictureRef still = Slope(format, 0);
  uint64_t pts = kFirstPts;
  for (uint32_t i = 0; i < 12; ++i) {
    Submit(still, pts);
    pts += i == 5 ? 3'600'000'000'001 : kSlotNs + i % 2;
  }
  EXPECT_EQ(still.use_count(), 1) << "the encoder keeps no picture";
  Finish();
  EXPECT_EQ(Decode(GetParam().codec, header, packets).size(), 12U);
}

TEST_F(SoftwareEncoder, CarriesColourAndMasteringWhereItCan) {
  for (const Codec codec : {Codec::Hevc, Codec::Av1}) {
    EncoderSettings settings = Small(codec, EncoderInput::P010);
    settings.colour_primaries = ColourPrimaries::Bt2020;
    settings.transfer = Transfer::Pq;
    settings.matrix = ColourMatrix::Bt2020;
    settings.mastering = {
        1000.0F, 0.01F, {0.708F, 0.292F, 0.17F, 0.797F, 0.131F, 0.046F, 0.3127F, 0.329F}, 800, 200};
    Open(settings);
    SubmitSlopes(4);
    Finish();
    const auto frames = Decode(codec, header, packets);
    ASSERT_EQ(frames.size(), 4U);
    EXPECT_EQ(frames[0].colour, "bt2020 smpte2084 bt2020nc tv");
    if (codec == Codec::Av1) continue;  // libaom takes no mastering metadata
    EXPECT_NEAR(frames[0].max_luminance, 1000, 0.1);
    EXPECT_EQ(frames[0].max_cll, 800U);
  }
}

TEST_F(SoftwareEncoder, Av1HasTheHeaderThatWasToldBeforehand) {
  Open(Small(Codec::Av1));
  EXPECT_EQ(header[0] >> 3, 1) << "one sequence header OBU";
  EXPECT_EQ(header.size(), 2U + header[1]);
  EXPECT_EQ(header[2] & 0x08, 0) << "no reduced still picture header";
  SubmitSlopes(2);
  Finish();
  const auto first = packets[0].data.bytes().first(header.size());
  EXPECT_TRUE(std::equal(first.begin(), first.end(), header.begin()));
}

TEST_F(SoftwareEncoder, KeepsToTheBitrateOnNoise) {
  for (const Codec codec : {Codec::H264, Codec::Hevc, Codec::Av1}) {
    for (const RateControl control : {RateControl::Cbr, RateControl::Vbr}) {
      EncoderSettings settings = Small(codec);
      settings.rate_control = control;
      settings.fps_num = 30;
      settings.bitrate_kbps = 3000;
      settings.max_bitrate_kbps = 4000;
      // The first second may use up the buffer of a second that players have.
      const uint64_t kbps = BytesOfNoise(settings, 60, 30) * 8 / 1000;
      EXPECT_GT(kbps, 2400U) << CodecWord(codec) << " " << RateControlWord(control);
      EXPECT_LT(kbps, control == RateControl::Cbr ? 3600U : 4400U)
          << CodecWord(codec) << " " << RateControlWord(control);
    }
  }
}

TEST_F(SoftwareEncoder, ConstantQpFollowsTheQuantizerAlone) {
  for (const Codec codec : {Codec::H264, Codec::Hevc, Codec::Av1}) {
    EncoderSettings settings = Small(codec);
    settings.rate_control = RateControl::ConstantQp;
    settings.qp = 10;
    const uint64_t fine = BytesOfNoise(settings, 10, 10);
    settings.qp = 40;
    EXPECT_GT(fine, 2 * BytesOfNoise(settings, 10, 10)) << CodecWord(codec);
  }
}

TEST_F(SoftwareEncoder, RefusesWhatItCannotEncode) {
  EncoderSettings odd = Small(Codec::H264);
  odd.width = 321;
  EncoderSettings still = Small(Codec::H264);
  still.fps_num = 0;
  const std::pair<EncoderSettings, StatusCode> rows[] = {
      {odd, StatusCode::InvalidArgument},
      {still, StatusCode::InvalidArgument},
      {Small(Codec::H264, EncoderInput::P010), StatusCode::Unsupported},
      {Small(Codec::H264, EncoderInput::Bgra), StatusCode::Unsupported}};
  for (const auto& [settings, code] : rows) {
    EXPECT_EQ(LavcBackends().back()->Create(device, settings, encoder).code(), code);
    EXPECT_EQ(encoder, nullptr);
  }
}

TEST_F(SoftwareEncoder, RefusesPicturesOfAnotherShape) {
  Open(Small(Codec::H264));
  for (const PictureRef& wrong :
       {PictureRef(), Noise(kWidth, kHeight + 2, 1), Slope(PixelFormat::P010, 0)}) {
    EXPECT_EQ(encoder->Submit({wrong, 0, false}).code(), StatusCode::InvalidArgument);
  }
  SubmitSlopes(3);
  Finish();
  EXPECT_EQ(encoder->Submit({Slope(format, 0), 0, false}).code(), StatusCode::InvalidArgument);
}

TEST(LavcBackends, AnswerInTheirOrderAndOnlyForWhatIsThere) {
  const BackendList list = LavcBackends();
  std::vector<std::string> names;
  for (const auto* backend : list) names.emplace_back(backend->Name());
  EXPECT_EQ(names, (std::vector<std::string>{"NVENC", "VA-API", "Software"}));

  FakeDevice device;
  EncoderCaps caps;
  ASSERT_TRUE(list.back()->Probe(device, caps).ok());
  ASSERT_EQ(caps.codecs.size(), 3U);
  for (const CodecCaps& row : caps.codecs) EXPECT_EQ(row.ten_bit, row.codec != Codec::H264);
}

}  // namespace
}  // namespace orventa
