// NVENC against a fake of its library, which checks every call.
#include "encoders/nvenc/nvenc.h"

#include <gtest/gtest.h>

#include <array>
#include <cstring>

#include "encoders/nvenc/nvenc_api.h"
#include "media/media_win/d3d11_picture.h"
#include "tests/encoders/fakes/fake_encoders.h"
#include "tests/encoders/fakes_win/fake_driver.h"
#include "tests/encoders/nvenc/fake_nvenc.h"

namespace orventa {
namespace {

using namespace nvenc;

constexpr uint32_t kWidth = 320;
constexpr uint32_t kHeight = 180;

const std::wstring& FakeLibrary() {
  static const std::wstring path = FakeLibraryPath(L"nvEncodeAPI64.dll");
  return path;
}

FakeNvenc& Fake() {
  static FakeNvenc& fake = SharedWithFake<FakeNvencOfFunction>(FakeLibrary(), "FakeNvencOf");
  return fake;
}

FakeTexture the_device;
AdapterFacts the_adapter;

class Nvenc : public testing::Test {
 protected:
  Nvenc() {
    Fake() = {};
    the_adapter.device = FakeD3d11Device(the_device);
    the_adapter.vendor_id = 0x10DE;
    the_adapter.driver_version = (uint64_t{15} << 16) | 5500;  // 555.00
    settings.width = kWidth;
    settings.height = kHeight;
  }
  ~Nvenc() override {
    encoder.reset();
    the_adapter = {};
    EXPECT_STREQ(Fake().breach, "");
    EXPECT_EQ(Fake().sessions + Fake().buffers + Fake().registered + Fake().mapped, 0);
    EXPECT_EQ(the_device.references, 0U);
  }

  Status Create() { return backend.Create(device, settings, encoder); }
  Status Submit(FakeTexture& shown, uint64_t pts, bool force = false) {
    const PixelFormat format =
        settings.input_format == EncoderInput::P010 ? PixelFormat::P010 : PixelFormat::Nv12;
    return encoder->Submit(
        {std::make_shared<D3d11Picture>(format, kWidth, kHeight, &shown), pts, force});
  }
  int64_t Collect() { return CollectPts(*encoder, packet, status); }

  FakeDevice device;
  EncoderSettings settings;
  NvencBackend backend = NvencBackend(
      []() -> const NvencApi& {
        static const NvencApi api(FakeLibrary().c_str(), 0);
        return api;
      },
      [](const GraphicsDevice&) { return the_adapter; });
  std::array<FakeTexture, 6> textures;
  FakeTexture& texture = textures[0];
  std::unique_ptr<IVideoEncoder> encoder;  // of them
  EncodedPacket packet;
  Status status;
};

TEST_F(Nvenc, TellsWhyItsLibraryDoesNotLoad) {
  struct Row {
    const wchar_t* library;
    const char* failing_call;
    uint32_t version;
    Status expected;
  };
  using enum StatusCode;
  const wchar_t* const fake = FakeLibrary().c_str();
  const Row rows[] = {
      {L"no such.dll",
       "",
       208,
       {BackendUnavailable, "nvEncodeAPI64.dll not present (no NVIDIA driver)"}},
      {L"kernel32.dll",
       "",
       208,
       {BackendUnavailable, "nvEncodeAPI64.dll is missing expected exports"}},
      {fake,
       "NvEncodeAPIGetMaxSupportedVersion",
       208,
       {DriverError, "NvEncodeAPIGetMaxSupportedVersion failed"}},
      {fake,
       "",
       12 * 16 + 2,
       {BackendUnavailable,
        "NVIDIA driver is too old for NVENC API 13.0 (driver reports 12.2) -- please update."}},
      {fake, "NvEncodeAPICreateInstance", 208, {DriverError, "NvEncodeAPICreateInstance failed"}},
      {fake, "", 14 * 16, {}},
  };
  for (const Row& row : rows) {
    Fake().failing_call = row.failing_call;
    Fake().failure = 20;
    Fake().max_version = row.version;
    const bool of_system = row.library != fake;
    EXPECT_EQ(NvencApi(row.library, of_system ? LOAD_LIBRARY_SEARCH_SYSTEM32 : 0).failure(),
              row.expected)
        << row.failing_call;
  }
}

TEST_F(Nvenc, OffersItselfOnItsMakersAdaptersOnly) {
  EXPECT_TRUE(backend.Supports(device));
  the_adapter.vendor_id = 0x1002;
  EXPECT_FALSE(backend.Supports(device));
  the_adapter = {};
  EXPECT_FALSE(backend.Supports(device));
  EXPECT_EQ(Create(), Status(StatusCode::InvalidArgument, "null D3D11 device"));
}

TEST_F(Nvenc, ProbesWhatTheAdapterEncodes) {
  EncoderCaps caps;
  ASSERT_TRUE(backend.Probe(device, caps).ok());
  const std::vector<CodecCaps> expected = {{Codec::H264, 4096, 4095, false, true, true},
                                           {Codec::Hevc, 8192, 8191, true, false, true},
                                           {Codec::Av1, 8192, 8191, true, false, false}};
  EXPECT_EQ(caps.codecs, expected);
  Fake().failing_call = "nvEncOpenEncodeSessionEx";
  Fake().failure = NV_ENC_ERR_OUT_OF_MEMORY;
  EXPECT_EQ(backend.Probe(device, caps),
            Status(StatusCode::SessionLimitReached,
                   "nvEncOpenEncodeSessionEx(probe) (GPU encoder busy or out of memory -- "
                   "another capture app may be running)"));
}

TEST_F(Nvenc, TellsWhatFailedAndUnwinds) {
  using enum StatusCode;
  constexpr std::pair<NVENCSTATUS, StatusCode> kMeanings[] = {
      {1, DriverError},     {2, Unsupported},  {5, DeviceLost},   {6, InvalidArgument},
      {8, InvalidArgument}, {12, Unsupported}, {15, Unsupported}, {18, SessionLimitReached},
      {20, DriverError},    {9, DriverError}};
  constexpr const char* kCalls[] = {"nvEncOpenEncodeSessionEx", "nvEncGetEncodePresetConfigEx",
                                    "nvEncInitializeEncoder", "nvEncCreateBitstreamBuffer"};
  Fake().error_text = "told so";
  for (const char* call : kCalls) {
    for (const auto& [result, code] : kMeanings) {
      Fake().failing_call = call;
      Fake().failure = result;
      EXPECT_EQ(Create(), Status(code, std::string(call) + ": told so"));
      EXPECT_EQ(Fake().sessions + Fake().buffers, 0) << call;
    }
  }
  Fake().failing_call = "";
  Fake().has_av1 = false;
  settings.codec = Codec::Av1;
  EXPECT_EQ(Create(), Status(Unsupported, "this GPU does not encode av1"));
  settings.fps_den = 0;
  EXPECT_EQ(Create(), Status(InvalidArgument, "invalid frame rate"));
  settings.height = 0;
  EXPECT_EQ(Create(), Status(InvalidArgument, "zero frame dimensions"));
}

TEST_F(Nvenc, ConfiguresH264AtAConstantRate) {
  settings.rate_control = RateControl::Cbr;
  settings.bitrate_kbps = 8000;
  settings.preset = "p7";
  settings.fps_num = 60000;
  settings.fps_den = 1001;
  settings.low_latency = true;
  settings.split_encode = SplitEncode::AskedFor;
  ASSERT_TRUE(Create().ok());
  const NV_ENC_CONFIG& config = Fake().config;
  const NV_ENC_CONFIG_H264& h264 = config.encodeCodecConfig.h264Config;
  EXPECT_EQ(Fake().preset, NV_ENC_PRESET_GUIDS[6]);
  EXPECT_EQ(Fake().init.tuningInfo, NV_ENC_TUNING_INFO_LOW_LATENCY);
  EXPECT_EQ(Fake().init.flags, 0U) << "H.264 is not split";
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
  the_adapter.driver_version = 0;
}

TEST_F(Nvenc, ConfiguresHevcForHdr) {
  settings.codec = Codec::Hevc;
  settings.input_format = EncoderInput::P010;
  settings.bitrate_kbps = 20'000;
  settings.max_bitrate_kbps = 10'000;
  settings.preset = "slow";
  settings.colour_primaries = ColourPrimaries::Bt2020;
  settings.transfer = Transfer::Pq;
  settings.matrix = ColourMatrix::Bt2020;
  settings.mastering = {
      1000, 0.005F, {0.68F, 0.32F, 0.265F, 0.69F, 0.15F, 0.06F, 0.3127F, 0.329F}, 900, 400};
  settings.split_encode = SplitEncode::AskedFor;
  ASSERT_TRUE(Create().ok());
  const NV_ENC_CONFIG& config = Fake().config;
  const NV_ENC_CONFIG_HEVC& hevc = config.encodeCodecConfig.hevcConfig;
  EXPECT_EQ(Fake().preset, NV_ENC_PRESET_GUIDS[3]);
  EXPECT_EQ(Fake().init.flags, 1U << 5);
  EXPECT_EQ(config.rcParams.averageBitRate, 20'000'000U);
  EXPECT_EQ(config.rcParams.maxBitRate, 20'000'000U);
  EXPECT_EQ(hevc.flags, 1U << 9 | 3U << 23);
  EXPECT_EQ(hevc.inputBitDepth + hevc.outputBitDepth, 20U);
  EXPECT_EQ(hevc.hevcVUIParameters.colourPrimaries, 9U);
  EXPECT_EQ(hevc.hevcVUIParameters.transferCharacteristics, 16U);
  ASSERT_TRUE(Submit(texture, 0).ok());
  EXPECT_EQ(Fake().picture.bufferFmt, 0x10000U);
  EXPECT_EQ(Fake().mastering.g.x, 13250);
  EXPECT_EQ(Fake().mastering.r.y, 16000);
  EXPECT_EQ(Fake().mastering.minLuma, 50U);
  EXPECT_EQ(Collect(), 0);
  encoder.reset();

  the_adapter.driver_version -= 1;  // 554.99
  ASSERT_TRUE(Create().ok());
  EXPECT_EQ(Fake().init.flags, 0U);
  settings.codec = Codec::H264;
  EXPECT_EQ(Create().code(), StatusCode::Unsupported);
}

TEST_F(Nvenc, ConfiguresAv1AtAConstantQuality) {
  settings.codec = Codec::Av1;
  settings.rate_control = RateControl::ConstantQp;
  settings.qp = 99;
  settings.keyframe_seconds = 0;
  settings.adaptive_quantization = false;
  settings.full_range = true;
  settings.transfer = Transfer::Hlg;
  settings.split_encode = SplitEncode::Off;
  ASSERT_TRUE(Create().ok());
  const NV_ENC_CONFIG& config = Fake().config;
  const NV_ENC_CONFIG_AV1& av1 = config.encodeCodecConfig.av1Config;
  EXPECT_EQ(config.rcParams.constQP.qpIntra, 255U);
  EXPECT_EQ(config.rcParams.flags, 0U);
  EXPECT_EQ(config.gopLength, 60U);
  EXPECT_EQ(av1.flags, 1U << 5 | 1U << 7);
  EXPECT_EQ(av1.colorRange, 1U);
  EXPECT_EQ(av1.transferCharacteristics, 18U);
  EXPECT_EQ(av1.inputBitDepth, 8U);
  EXPECT_EQ(Fake().init.flags, 15U << 5);
  // Files want neither temporal delimiters nor anything but the sequence header.
  std::vector<uint8_t> header;
  ASSERT_TRUE(encoder->Header(header).ok());
  EXPECT_EQ(header, (std::vector<uint8_t>{0x0A, 2, 0, 0x80}));
  ASSERT_TRUE(Submit(texture, 5).ok());
  EXPECT_EQ(Collect(), 5);
  EXPECT_EQ(packet.data.size(), 3U);
}

TEST_F(Nvenc, MapsATextureOnceForRepeats) {
  ASSERT_TRUE(Create().ok());
  EXPECT_EQ(Collect(), -1);
  ASSERT_TRUE(Submit(texture, 100).ok());
  ASSERT_TRUE(Submit(texture, 200, true).ok());
  EXPECT_EQ(Fake().picture.encodePicFlags, NV_ENC_PIC_FLAG_FORCEIDR);
  EXPECT_EQ(Submit(texture, 300),
            Status(StatusCode::OutOfMemory, "bitstream pool exhausted -- caller must Pull()"));
  EXPECT_EQ(Fake().maps, 1);
  EXPECT_EQ(Collect(), 100);
  EXPECT_EQ(Fake().mapped, 1);
  EXPECT_EQ(Collect(), 200);
  EXPECT_TRUE(packet.keyframe);
  EXPECT_EQ(Fake().mapped, 0);
  ASSERT_TRUE(Submit(texture, 300).ok());
  EXPECT_EQ(Collect(), 300);
  EXPECT_FALSE(packet.keyframe);
  EXPECT_EQ(Fake().registrations, 1);
  ASSERT_TRUE(encoder->Drain().ok() && encoder->Drain().ok());
  EXPECT_EQ(Collect(), -2);
  EXPECT_EQ(Submit(texture, 400), Status(StatusCode::InvalidArgument, "Submit after Flush"));
}

TEST_F(Nvenc, LetsGoOfTexturesThatNobodyHolds) {
  ASSERT_TRUE(Create().ok());
  textures[1].references = 1;  // a pool's
  for (uint64_t i = 0; i < 3; ++i) {
    ASSERT_TRUE(Submit(textures[i], i).ok());
    EXPECT_EQ(Collect(), static_cast<int64_t>(i));
  }
  EXPECT_EQ(textures[0].references, 0U);
  EXPECT_EQ(Fake().registered, 2);
  EXPECT_EQ(encoder->Submit({}), Status(StatusCode::InvalidArgument, "null input texture"));
  encoder.reset();
  EXPECT_EQ(textures[1].references, 1U);
}

TEST_F(Nvenc, HoldsPicturesBackForBFrames) {
  settings.b_frames = 2;
  ASSERT_TRUE(Create().ok());
  std::vector<int64_t> times;
  for (uint64_t i = 0; i < 6; ++i) {
    ASSERT_TRUE(Submit(textures[i], i).ok());
    for (int64_t pts = Collect(); pts >= 0; pts = Collect()) times.push_back(pts);
    EXPECT_EQ(times.size(), i < 3 ? 1U : 4U) << i;
  }
  ASSERT_TRUE(encoder->Drain().ok());
  for (int64_t pts = Collect(); pts != -2; pts = Collect()) times.push_back(pts);
  EXPECT_EQ(times, (std::vector<int64_t>{0, 3, 1, 2, 5, 4}));
  // Given up with pictures inside.
  ASSERT_TRUE(Create().ok());
  for (uint64_t i = 0; i < 3; ++i) ASSERT_TRUE(Submit(textures[i], i).ok());
}

TEST_F(Nvenc, GoesOnOrEndsCleanlyAfterAFailure) {
  ASSERT_TRUE(Create().ok());
  Fake().failure = NV_ENC_ERR_DEVICE_NOT_EXIST;
  for (const char* call :
       {"nvEncRegisterResource", "nvEncMapInputResource", "nvEncEncodePicture"}) {
    Fake().failing_call = call;
    EXPECT_EQ(Submit(texture, 1), Status(StatusCode::DeviceLost, call));
    EXPECT_EQ(Fake().mapped, 0);
  }
  Fake().failing_call = "nvEncLockBitstream";
  ASSERT_TRUE(Submit(texture, 2).ok());
  EXPECT_EQ(Collect(), -3);
  EXPECT_EQ(status, Status(StatusCode::DeviceLost, "nvEncLockBitstream"));
  EXPECT_EQ(Fake().mapped, 0);
  std::vector<uint8_t> header;
  Fake().failing_call = "nvEncGetSequenceParams";
  EXPECT_EQ(encoder->Header(header).message(), "nvEncGetSequenceParams");
  Fake().failing_call = "nvEncEncodePicture(EOS)";
  EXPECT_EQ(encoder->Drain().message(), "nvEncEncodePicture(EOS)");
  EXPECT_EQ(Collect(), -2);
}

}  // namespace
}  // namespace orventa
