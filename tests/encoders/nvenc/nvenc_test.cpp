// NVENC against a fake of its library, which checks every call.
#include "encoders/nvenc/nvenc.h"

#include "encoders/nvenc/nvenc_api.h"
#include "tests/encoders/fakes_win/card_test.h"
#include "tests/encoders/nvenc/fake_nvenc.h"

namespace orventa {
namespace {

using namespace nvenc;

class Nvenc : public LibraryTest<NvencBackend, NvencApi, FakeNvenc> {
 protected:
  Nvenc() : LibraryTest(L"nvEncodeAPI64.dll", "FakeNvencOf", 0x10DE) {
    fake = {};
    the_adapter.driver_version = (uint64_t{15} << 16) | 5500;  // 555.00
  }
  ~Nvenc() override {
    encoder.reset();
    EXPECT_EQ(fake.registered + fake.mapped, 0);
  }

  const NV_ENC_CONFIG& config = fake.config;
};

TEST_F(Nvenc, TellsWhyItsLibraryDoesNotLoad) {
  using enum StatusCode;
  ExpectLoad(L"no such.dll", "",
             {BackendUnavailable, "nvEncodeAPI64.dll not present (no NVIDIA driver)"});
  ExpectLoad(L"kernel32.dll", "",
             {BackendUnavailable, "nvEncodeAPI64.dll is missing expected exports"});
  for (const char* call : {"NvEncodeAPIGetMaxSupportedVersion", "NvEncodeAPICreateInstance"}) {
    ExpectLoad(library, call, {DriverError, std::string(call) + " failed"});
  }
  fake.max_version = 12 * 16 + 2;
  ExpectLoad(
      library, "",
      {BackendUnavailable,
       "NVIDIA driver is too old for NVENC API 13.0 (driver reports 12.2) -- please update."});
  fake.max_version = 14 * 16;
  ExpectLoad(library, "", {});
}

TEST_F(Nvenc, OffersItselfOnItsMakersAdaptersAndProbesThem) {
  EncoderCaps caps;
  fake.most_codecs = 0;
  EXPECT_TRUE(backend.Probe(*device, caps).ok() && caps.codecs.empty());
  fake.most_codecs = 3;
  ExpectOffer(
      {{Codec::H264, 4096, 4095, false, true, true}, {Codec::Hevc, 8192, 8191, true, false, true}},
      "nvEncOpenEncodeSessionEx", NV_ENC_ERR_OUT_OF_MEMORY,
      {StatusCode::SessionLimitReached,
       "nvEncOpenEncodeSessionEx(probe) (GPU encoder busy or out of memory -- "
       "another capture app may be running)"});
}

TEST_F(Nvenc, TellsWhatFailedAndUnwinds) {
  using enum StatusCode;
  constexpr std::pair<NVENCSTATUS, StatusCode> kMeanings[] = {
      {1, DriverError},     {2, Unsupported},  {5, DeviceLost},   {6, InvalidArgument},
      {8, InvalidArgument}, {12, Unsupported}, {15, Unsupported}, {18, SessionLimitReached},
      {20, DriverError},    {9, DriverError}};
  fake.error_text = "told so";
  for (const char* call : {"nvEncOpenEncodeSessionEx", "nvEncGetEncodePresetConfigEx",
                           "nvEncInitializeEncoder", "nvEncCreateBitstreamBuffer"}) {
    for (const auto& [result, code] : kMeanings) {
      ExpectFailure(call, result, {code, std::string(call) + ": told so"});
    }
  }
  fake.has_av1 = false;
  settings.codec = Codec::Av1;
  EXPECT_EQ(Create(), Status(Unsupported, "this GPU does not encode av1"));
  settings.fps_den = 0;
  EXPECT_EQ(Create(), Status(InvalidArgument, "invalid frame rate"));
  settings.height = 0;
  EXPECT_EQ(Create(), Status(InvalidArgument, "zero frame dimensions"));
}

TEST_F(Nvenc, ConfiguresH264AtAConstantRate) {
  WantH264AtAConstantRate();
  settings.preset = "p7";
  settings.fps_num = 60000;
  settings.fps_den = 1001;
  settings.low_latency = true;
  settings.split_encode = SplitEncode::AskedFor;
  ASSERT_TRUE(Create().ok());
  const NV_ENC_CONFIG_H264& h264 = config.encodeCodecConfig.h264Config;
  EXPECT_EQ(fake.preset, NV_ENC_PRESET_GUIDS[6]);
  EXPECT_EQ(fake.init.tuningInfo, NV_ENC_TUNING_INFO_LOW_LATENCY);
  EXPECT_EQ(fake.init.flags, 0U) << "H.264 is not split";
  EXPECT_EQ(config.gopLength, 120U) << "119.88";
  EXPECT_EQ(h264.idrPeriod, 120U);
  EXPECT_EQ(config.frameIntervalP, 1);
  EXPECT_EQ(config.rcParams.rateControlMode, 2U);
  for (const uint32_t bits : {config.rcParams.averageBitRate, config.rcParams.maxBitRate,
                              config.rcParams.vbvBufferSize, config.rcParams.vbvInitialDelay}) {
    EXPECT_EQ(bits, 8'000'000U);
  }
  EXPECT_EQ(config.rcParams.flags, 1U << 3 | 8U << 12) << "spatial, strength 8, no look-ahead";
  EXPECT_EQ(h264.flags & (1U << 6 | 1U << 12 | 1U << 17), 0U);
  EXPECT_EQ(h264.h264VUIParameters.colourMatrix, 1U);
}

TEST_F(Nvenc, ConfiguresHevcForHdr) {
  WantHevcForHdr();
  settings.split_encode = SplitEncode::AskedFor;
  ASSERT_TRUE(Create().ok());
  const NV_ENC_CONFIG_HEVC& hevc = config.encodeCodecConfig.hevcConfig;
  EXPECT_EQ(fake.preset, NV_ENC_PRESET_GUIDS[3]);
  EXPECT_EQ(fake.init.flags, 1U << 5);
  EXPECT_EQ(config.rcParams.averageBitRate, 12'000'000U);
  EXPECT_EQ(config.rcParams.maxBitRate, 12'000'000U);
  EXPECT_EQ(hevc.flags, 1U << 9 | 3U << 23);
  EXPECT_EQ(hevc.inputBitDepth + hevc.outputBitDepth, 20U);
  EXPECT_EQ(hevc.hevcVUIParameters.colourPrimaries, 9U);
  EXPECT_EQ(hevc.hevcVUIParameters.transferCharacteristics, 16U);
  ASSERT_TRUE(Submit(0).ok());
  EXPECT_EQ(fake.picture.bufferFmt, 0x10000U);
  EXPECT_EQ(fake.mastering.g.x, 13250);
  EXPECT_EQ(fake.mastering.r.y, 16000);
  EXPECT_EQ(fake.mastering.minLuma, 50U);
  EXPECT_EQ(Collect(), 0);

  the_adapter.driver_version -= 1;  // 554.99
  ASSERT_TRUE(Create().ok());
  EXPECT_EQ(fake.init.flags, 0U);
  settings.codec = Codec::H264;
  EXPECT_EQ(Create().code(), StatusCode::Unsupported);
}

TEST_F(Nvenc, ConfiguresAv1AtAConstantQuality) {
  WantAv1AtAConstantQuality();
  settings.keyframe_seconds = 0;
  settings.adaptive_quantization = false;
  settings.transfer = Transfer::Hlg;
  settings.split_encode = SplitEncode::Off;
  ASSERT_TRUE(Create().ok());
  const NV_ENC_CONFIG_AV1& av1 = config.encodeCodecConfig.av1Config;
  EXPECT_EQ(config.rcParams.constQP.qpIntra, 255U);
  EXPECT_EQ(config.rcParams.flags, 0U);
  EXPECT_EQ(config.gopLength, 60U);
  EXPECT_EQ(av1.flags, 1U << 5 | 1U << 7);
  EXPECT_EQ(av1.colorRange, 1U);
  EXPECT_EQ(av1.transferCharacteristics, 18U);
  EXPECT_EQ(av1.inputBitDepth, 8U);
  EXPECT_EQ(fake.init.flags, 15U << 5);
  // Files want neither temporal delimiters nor anything but the sequence header.
  EXPECT_EQ(Header(), (std::vector<uint8_t>{0x0A, 2, 0, 0x80}));
  ASSERT_TRUE(Submit(5).ok());
  EXPECT_EQ(Collect(), 5);
  EXPECT_EQ(packet.data.size(), 3U);
}

TEST_F(Nvenc, MapsATextureOnceForRepeats) {
  ASSERT_TRUE(Create().ok());
  EXPECT_EQ(Collect(), -1);
  ASSERT_TRUE(Submit(100).ok());
  ASSERT_TRUE(Submit(200, true).ok());
  EXPECT_EQ(fake.picture.encodePicFlags, NV_ENC_PIC_FLAG_FORCEIDR);
  EXPECT_EQ(Submit(300),
            Status(StatusCode::OutOfMemory, "bitstream pool exhausted -- caller must Pull()"));
  EXPECT_EQ(fake.maps, 1);
  EXPECT_EQ(Collect(), 100);
  EXPECT_EQ(fake.mapped, 1);
  EXPECT_EQ(Collect(), 200);
  EXPECT_TRUE(packet.keyframe);
  EXPECT_EQ(fake.mapped, 0);
  ASSERT_TRUE(Submit(300).ok());
  EXPECT_EQ(Collect(), 300);
  EXPECT_FALSE(packet.keyframe);
  EXPECT_EQ(fake.registrations, 1);
  ASSERT_TRUE(encoder->Drain().ok() && encoder->Drain().ok());
  EXPECT_EQ(Collect(), -2);
  EXPECT_EQ(Submit(400), Status(StatusCode::InvalidArgument, "Submit after Flush"));
}

TEST_F(Nvenc, LetsGoOfTexturesThatNobodyHolds) {
  ASSERT_TRUE(Create().ok());
  for (size_t i = 0; i < 3; ++i) {
    ASSERT_TRUE(Submit(i, false, i).ok());
    EXPECT_EQ(Collect(), static_cast<int64_t>(i));
    if (i == 0) textures[0].Reset();  // the others are still a pool's
  }
  EXPECT_EQ(fake.registered, 2);
  EXPECT_EQ(encoder->Submit({}), Status(StatusCode::InvalidArgument, "null input texture"));
}

TEST_F(Nvenc, HoldsPicturesBackForBFrames) {
  settings.b_frames = 2;
  ASSERT_TRUE(Create().ok());
  std::vector<int64_t> times;
  for (size_t i = 0; i < 6; ++i) {
    ASSERT_TRUE(Submit(i, false, i).ok());
    for (int64_t pts = Collect(); pts >= 0; pts = Collect()) times.push_back(pts);
    EXPECT_EQ(times.size(), i < 3 ? 1U : 4U) << i;
  }
  ASSERT_TRUE(encoder->Drain().ok());
  for (int64_t pts = Collect(); pts >= 0; pts = Collect()) times.push_back(pts);
  EXPECT_EQ(Collect(), -2);
  EXPECT_EQ(times, (std::vector<int64_t>{0, 3, 1, 2, 5, 4}));
  // Given up with pictures inside.
  ASSERT_TRUE(Create().ok());
  for (size_t i = 0; i < 3; ++i) ASSERT_TRUE(Submit(i, false, i).ok());
}

TEST_F(Nvenc, GoesOnOrEndsCleanlyAfterAFailure) {
  ASSERT_TRUE(Create().ok());
  fake.failure = NV_ENC_ERR_DEVICE_NOT_EXIST;
  const auto expect = [&](const char* call, const auto& attempt) {
    fake.failing_call = call;
    EXPECT_EQ(attempt(), Status(StatusCode::DeviceLost, call));
    EXPECT_EQ(fake.mapped, 0);
  };
  for (const char* call :
       {"nvEncRegisterResource", "nvEncMapInputResource", "nvEncEncodePicture"}) {
    expect(call, [&] { return Submit(1); });
  }
  expect("nvEncLockBitstream", [&] {
    EXPECT_TRUE(Submit(2).ok());
    EXPECT_EQ(Collect(), -3);
    return status;
  });
  std::vector<uint8_t> header;
  expect("nvEncGetSequenceParams", [&] { return encoder->Header(header); });
  expect("nvEncEncodePicture(EOS)", [&] { return encoder->Drain(); });
  EXPECT_EQ(Collect(), -2);
}

}  // namespace
}  // namespace orventa
