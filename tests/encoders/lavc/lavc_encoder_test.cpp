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

// A slope that moves with the frame, in one colour: luma `x + y + 2 frame`.
PictureRef Slope(PixelFormat format, uint32_t frame) {
  auto picture = MemoryPicture::Allocate(format, kWidth, kHeight);
  const bool ten_bit = format == PixelFormat::P010;
  const int scale = ten_bit ? 4 : 1;
  for (uint32_t y = 0; y < kHeight; ++y) {
    for (uint32_t x = 0; x < kWidth; ++x) {
      SetSample(picture->plane(0), x, y, ten_bit,
                scale * static_cast<int>(16 + (x + y + 2 * frame) / 4 % 200));
    }
  }
  for (uint32_t y = 0; y < kHeight / 2; ++y) {
    for (uint32_t x = 0; x < kWidth / 2; ++x) {
      SetSample(picture->plane(1), 2 * x, y, ten_bit, scale * 90);
      SetSample(picture->plane(1), 2 * x + 1, y, ten_bit, scale * 160);
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
        const int wanted = scale * static_cast<int>(16 + (x + y + 2 * i) / 4 % 200);
        error += std::abs(frames[i].luma[y * kWidth + x] - wanted);
      }
    }
    EXPECT_LT(error / (kWidth * kHeight), 2.0 * scale) << "frame " << i;
    EXPECT_NEAR(frames[i].chroma[0], 90 * scale, 4 * scale);
    EXPECT_NEAR(frames[i].chroma[1], 160 * scale, 4 * scale);
    EXPECT_EQ(frames[i].matrix, "bt709");
    EXPECT_EQ(frames[i].primaries, "bt709");
    EXPECT_EQ(frames[i].transfer, "bt709");
    EXPECT_EQ(frames[i].range, "tv");
  }
}

TEST_P(EveryCodec, KeyframesComeAtTheirDistanceAndWhenAskedFor) {
  EncoderSettings settings = Small(GetParam().codec, GetParam().input);
  settings.fps_num = 10;
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

TEST_P(EveryCodec, StopsInMidStream) {
  Open(Small(GetParam().codec, GetParam().input));
  SubmitSlopes(5);
  encoder.reset();
}

class HdrCodec : public EveryCodec {};
INSTANTIATE_TEST_SUITE_P(Software, HdrCodec,
                         ::testing::Values(Kind{"Hevc10", Codec::Hevc, EncoderInput::P010},
                                           Kind{"Av1At10", Codec::Av1, EncoderInput::P010}),
                         [](const auto& row) { return std::string(row.param.name); });

TEST_P(HdrCodec, CarriesColourAndMasteringWhereItCan) {
  EncoderSettings settings = Small(GetParam().codec, GetParam().input);
  settings.colour_primaries = ColourPrimaries::Bt2020;
  settings.transfer = Transfer::Pq;
  settings.matrix = ColourMatrix::Bt2020;
  settings.mastering = {
      1000.0F, 0.01F, {0.708F, 0.292F, 0.17F, 0.797F, 0.131F, 0.046F, 0.3127F, 0.329F}, 800, 200};
  Open(settings);
  SubmitSlopes(4);
  Finish();
  const auto frames = Decode(GetParam().codec, header, packets);
  ASSERT_EQ(frames.size(), 4U);
  EXPECT_EQ(frames[0].primaries, "bt2020");
  EXPECT_EQ(frames[0].transfer, "smpte2084");
  EXPECT_EQ(frames[0].matrix, "bt2020nc");
  if (GetParam().codec == Codec::Av1) return;  // libaom takes no mastering metadata
  EXPECT_NEAR(frames[0].max_luminance, 1000, 0.1);
  EXPECT_EQ(frames[0].max_cll, 800U);
}

TEST_F(SoftwareEncoder, HeaderHoldsParameterSetsInAnnexB) {
  Open(Small(Codec::H264));
  ASSERT_GT(header.size(), 8U);
  EXPECT_EQ(std::vector<uint8_t>(header.begin(), header.begin() + 5),
            (std::vector<uint8_t>{0, 0, 0, 1, 0x67}));
  const std::string text(header.begin(), header.end());
  EXPECT_NE(text.find(std::string("\0\0\0\1\x68", 5)), std::string::npos);

  Open(Small(Codec::Hevc));
  const std::string hevc(header.begin(), header.end());
  for (const char type : {'\x40', '\x42', '\x44'}) {
    EXPECT_NE(hevc.find(std::string("\0\0\0\1", 4) + type), std::string::npos);
  }

  Open(Small(Codec::Av1));
  EXPECT_EQ(header[0] >> 3, 1) << "one sequence header OBU";
  EXPECT_EQ(header.size(), 2U + header[1]);
  EXPECT_EQ(header[2] & 0x08, 0) << "no reduced still picture header";
  SubmitSlopes(2);
  Finish();
  const std::string first(packets[0].data.bytes().begin(), packets[0].data.bytes().end());
  EXPECT_EQ(first.find(std::string(header.begin(), header.end())), 0U)
      << "the stream has the header that was told beforehand";
}

TEST_F(SoftwareEncoder, KeepsToTheBitrateOnNoise) {
  for (const Codec codec : {Codec::H264, Codec::Hevc, Codec::Av1}) {
    for (const RateControl control : {RateControl::Cbr, RateControl::Vbr}) {
      EncoderSettings settings = Small(codec);
      settings.rate_control = control;
      settings.fps_num = 30;
      settings.bitrate_kbps = 3000;
      settings.max_bitrate_kbps = 4000;
      packets.clear();
      submitted.clear();
      Open(settings);
      for (uint32_t i = 0; i < 60; ++i) Submit(Noise(kWidth, kHeight, i), kFirstPts + i * kSlotNs);
      Finish();
      // The first second may use up the buffer of a second that players have.
      uint64_t bytes = 0;
      for (const EncodedPacket& packet : std::span(packets).last(30)) bytes += packet.data.size();
      const uint64_t kbps = bytes * 8 / 1000;
      EXPECT_GT(kbps, 2400U) << CodecWord(codec) << " " << RateControlWord(control);
      EXPECT_LT(kbps, control == RateControl::Cbr ? 3600U : 4400U)
          << CodecWord(codec) << " " << RateControlWord(control);
    }
  }
}

TEST_F(SoftwareEncoder, ConstantQpFollowsTheQuantizerAlone) {
  for (const Codec codec : {Codec::H264, Codec::Hevc, Codec::Av1}) {
    std::vector<uint64_t> sizes;
    for (const uint32_t qp : {10U, 40U}) {
      EncoderSettings settings = Small(codec);
      settings.rate_control = RateControl::ConstantQp;
      settings.qp = qp;
      packets.clear();
      submitted.clear();
      Open(settings);
      for (uint32_t i = 0; i < 10; ++i) {
        Submit(Noise(kWidth, kHeight, i), kFirstPts + i * kSlotNs);
      }
      Finish();
      uint64_t bytes = 0;
      for (const EncodedPacket& packet : packets) bytes += packet.data.size();
      sizes.push_back(bytes);
    }
    EXPECT_GT(sizes[0], 2 * sizes[1]) << CodecWord(codec);
  }
}

TEST_F(SoftwareEncoder, RefusesWhatItCannotEncode) {
  IEncoderBackend* software = LavcBackends().back();
  const auto refused = [&](EncoderSettings settings) {
    const StatusCode code = software->Create(device, settings, encoder).code();
    EXPECT_EQ(encoder, nullptr);
    return code;
  };
  EncoderSettings odd = Small(Codec::H264);
  odd.width = 321;
  EXPECT_EQ(refused(odd), StatusCode::InvalidArgument);
  EncoderSettings still = Small(Codec::H264);
  still.fps_num = 0;
  EXPECT_EQ(refused(still), StatusCode::InvalidArgument);
  EXPECT_EQ(refused(Small(Codec::H264, EncoderInput::P010)), StatusCode::Unsupported);
  EXPECT_EQ(refused(Small(Codec::H264, EncoderInput::Bgra)), StatusCode::Unsupported);
}

TEST_F(SoftwareEncoder, RefusesPicturesOfAnotherShape) {
  Open(Small(Codec::H264));
  EXPECT_EQ(encoder->Submit({nullptr, 0, false}).code(), StatusCode::InvalidArgument);
  EXPECT_EQ(encoder->Submit({Noise(kWidth, kHeight + 2, 1), 0, false}).code(),
            StatusCode::InvalidArgument);
  EXPECT_EQ(encoder->Submit({Slope(PixelFormat::P010, 0), 0, false}).code(),
            StatusCode::InvalidArgument);
  SubmitSlopes(3);
  Finish();
  EXPECT_EQ(encoder->Submit({Slope(format, 0), 0, false}).code(), StatusCode::InvalidArgument);
}

TEST_F(SoftwareEncoder, AnUnknownPresetOfAnotherEncoderBecomesTheDefault) {
  EncoderSettings settings = Small(Codec::H264);
  settings.preset = "p5";
  settings.b_frames = 3;
  Open(settings);
  EXPECT_EQ(encoder->Settings().b_frames, 0U);
  bool known = false;
  for (const auto& preset : LavcBackends().back()->Presets()) {
    known = known || (preset.codec == Codec::H264 && preset.name == encoder->Settings().preset);
  }
  EXPECT_TRUE(known) << encoder->Settings().preset;
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
  EXPECT_FALSE(caps.codecs[0].ten_bit);
  EXPECT_TRUE(caps.codecs[1].ten_bit);
  EXPECT_TRUE(caps.codecs[2].ten_bit);
  for (IEncoderBackend* backend : list) {
    EXPECT_EQ(backend->Name() == "NVENC" && backend->Supports(device),
              backend->Name() == "NVENC" && backend->LoadMessage().empty());
  }
}

}  // namespace
}  // namespace orventa
