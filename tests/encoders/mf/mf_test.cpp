// Quick Sync against a fake of its transform, on a real device and with Media
// Foundation as the system has it.
#include "encoders/mf/mf.h"

#include <mferror.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "base/base_win/win32.h"
#include "encoders/mf/mf_names.h"
#include "encoders/mf/mf_players.h"
#include "media/media_win/d3d11_device.h"
#include "media/media_win/d3d11_picture.h"
#include "tests/encoders/fakes/fake_encoders.h"
#include "tests/encoders/mf/fake_mf.h"

namespace orventa {
namespace {

using Microsoft::WRL::ComPtr;

constexpr uint32_t kWidth = 320;
constexpr uint32_t kHeight = 180;
constexpr uint32_t kIntel = 0x8086;
constexpr uint64_t kFrameNs = 16'666'667;

const std::shared_ptr<D3d11Device>& Device() {
  static const std::shared_ptr<D3d11Device> device = [] {
    std::shared_ptr<D3d11Device> made;
    std::string used;
    EXPECT_TRUE(MakeD3d11Device("", made, used).ok());
    return made;
  }();
  return device;
}

uint32_t the_vendor = kIntel;
AdapterFacts FindFacts(const GraphicsDevice& device) {
  AdapterFacts facts = FindAdapterFacts(device);
  facts.vendor_id = the_vendor;
  return facts;
}

class MfEncoderTest : public testing::Test {
 protected:
  MfEncoderTest() {
    fake_mf = {};
    settings.width = kWidth;
    settings.height = kHeight;
    D3D11_TEXTURE2D_DESC wanted{};
    wanted.Width = kWidth;
    wanted.Height = kHeight;
    wanted.MipLevels = wanted.ArraySize = wanted.SampleDesc.Count = 1;
    wanted.Format = DXGI_FORMAT_NV12;
    EXPECT_EQ(Device()->device()->CreateTexture2D(&wanted, nullptr, &texture), S_OK);
  }
  ~MfEncoderTest() override {
    encoder.reset();
    EXPECT_EQ(fake_mf.breach, "");
    EXPECT_EQ(fake_mf.alive, 0);
    fake_mf = {};  // no types outlive the library
    the_vendor = kIntel;
  }

  Status Create() { return backend.Create(*Device(), settings, encoder); }
  Status Submit(uint64_t pts, bool force = false) {
    const auto picture =
        std::make_shared<D3d11Picture>(PixelFormat::Nv12, kWidth, kHeight, texture);
    pictures.push_back(picture);
    return encoder->Submit({picture, pts, force});
  }
  // Events come on their own time; -1 when nothing does.
  int64_t Collect() {
    int64_t pts = -1;
    for (int tries = 0; pts == -1 && tries < 2000; ++tries) {
      pts = CollectPts(*encoder, packet, status);
      if (pts == -1) PauseMs(1);
    }
    return pts;
  }
  size_t PicturesHeld() const {
    return static_cast<size_t>(
        std::count_if(pictures.begin(), pictures.end(), [](auto& p) { return !p.expired(); }));
  }
  static UINT32 Number(IMFMediaType& type, const GUID& key) {
    UINT32 value = 0;
    EXPECT_EQ(type.GetUINT32(key, &value), S_OK);
    return value;
  }

  EncoderSettings settings;
  QsvBackend backend = QsvBackend(FakeMediaFoundation, FindFacts);
  ComPtr<ID3D11Texture2D> texture;
  std::vector<std::weak_ptr<D3d11Picture>> pictures;
  std::unique_ptr<IVideoEncoder> encoder;  // of it
  EncodedPacket packet;
  Status status;
};

TEST_F(MfEncoderTest, OffersItselfOnItsMakersAdaptersAndProbesThem) {
  fake_mf.has_av1 = false;
  EncoderCaps caps;
  ASSERT_TRUE(backend.Supports(*Device()));
  ASSERT_TRUE(backend.Probe(*Device(), caps).ok());
  const std::vector<CodecCaps> expected = {{Codec::H264, 4096, 4096, false, false, false},
                                           {Codec::Hevc, 4096, 4096, true, false, false}};
  EXPECT_EQ(caps.codecs, expected);
  EXPECT_EQ(caps.name, "Quick Sync");
  const LUID luid = FindFacts(*Device()).luid;
  EXPECT_EQ(std::memcmp(&fake_mf.luid, &luid, sizeof(luid)), 0) << "that adapter, no other";
  the_vendor = 0x1002;
  EXPECT_FALSE(backend.Supports(*Device()));

  QsvBackend without(
      []() -> const MediaFoundation& {
        static const MediaFoundation none;
        return none;
      },
      FindFacts);
  the_vendor = kIntel;
  EXPECT_FALSE(without.Supports(*Device()));
  EXPECT_EQ(without.LoadMessage(), "this Windows has no Media Foundation");
  EXPECT_EQ(without.Create(*Device(), settings, encoder).code(), StatusCode::BackendUnavailable);
}

TEST_F(MfEncoderTest, TellsWhatFailedAndUnwinds) {
  using enum StatusCode;
  constexpr const char* kBusy =
      " (GPU encoder busy or out of memory -- another capture app may be running)";
  const struct {
    const char* call;
    HRESULT result;
    Status expected;
  } rows[] = {
      {"SET_D3D_MANAGER",
       MF_E_UNSUPPORTED_D3D_TYPE,
       {Unsupported, "MFT_MESSAGE_SET_D3D_MANAGER failed (0xC00D6D76)"}},
      {"SetValue", E_INVALIDARG, {InvalidArgument, "setting the rate control failed (0x80070057)"}},
      {"SetOutputType", MF_E_INVALIDMEDIATYPE, {Unsupported, "SetOutputType failed (0xC00D36B4)"}},
      {"SetInputType", E_FAIL, {DriverError, "SetInputType failed (0x80004005)"}},
      {"START_OF_STREAM",
       MF_E_HW_MFT_FAILED_START_STREAMING,
       {SessionLimitReached,
        std::string("MFT_MESSAGE_NOTIFY_START_OF_STREAM failed (0xC00D3704)") + kBusy}},
      {"START_OF_STREAM",
       DXGI_ERROR_DEVICE_REMOVED,
       {DeviceLost, "MFT_MESSAGE_NOTIFY_START_OF_STREAM failed (0x887A0005)"}},
  };
  for (const auto& row : rows) {
    fake_mf.failing_call = row.call;
    fake_mf.failure = row.result;
    EXPECT_EQ(Create(), row.expected);
    EXPECT_EQ(fake_mf.alive, 0) << row.call;
  }
  const std::pair<void (*)(), const char*> unfit[] = {
      {[] { fake_mf.async = false; }, "the encoder of Media Foundation takes no textures"},
      {[] { fake_mf.takes_textures = false; }, "the encoder of Media Foundation takes no textures"},
      {[] { fake_mf.forces_keyframes = false; }, "the encoder cannot be asked for a keyframe"},
      {[] { fake_mf.vendor = L"VEN_10DE"; },
       "Media Foundation has no encoder on this GPU for h264"},
  };
  for (const auto& [spoil, text] : unfit) {
    fake_mf = {};
    spoil();
    EXPECT_EQ(Create(), Status(Unsupported, text));
  }
  fake_mf = {};
  fake_mf.refused = CODECAPI_AVEncMPVDefaultBPictureCount;
  EXPECT_EQ(Create().message(), "setting no B-frames failed (0x80070057)");
  fake_mf.refused = CODECAPI_AVEncCommonQualityVsSpeed;
  EXPECT_TRUE(Create().ok()) << "not every driver has it";
  fake_mf.failing_call = "MFTEnum2";
  fake_mf.failure = E_NOTIMPL;
  EXPECT_TRUE(Create().ok()) << "older systems do without";
}

TEST_F(MfEncoderTest, SpeaksEachCodecsOwnNumbers) {
  settings.preset = "quality";
  settings.rate_control = RateControl::Cbr;
  settings.bitrate_kbps = 8000;
  ASSERT_TRUE(Create().ok());
  EXPECT_EQ(FakeMfProperty(CODECAPI_AVEncCommonRateControlMode), 0);
  EXPECT_EQ(FakeMfProperty(CODECAPI_AVEncCommonMaxBitRate), 8'000'000);
  EXPECT_EQ(FakeMfProperty(CODECAPI_AVEncCommonBufferSize), 1'000'000);
  EXPECT_EQ(FakeMfProperty(CODECAPI_AVEncCommonQualityVsSpeed), 100);
  EXPECT_EQ(Number(*fake_mf.out.Get(), MF_MT_MPEG2_PROFILE), 100U);
  EXPECT_FALSE(encoder->Settings().adaptive_quantization) << "there is none to ask for";
  std::vector<uint8_t> header;
  ASSERT_TRUE(encoder->Header(header).ok());
  EXPECT_EQ(header.at(4), 0x67);

  settings.codec = Codec::Hevc;
  settings.input_format = EncoderInput::P010;
  settings.rate_control = RateControl::Vbr;
  settings.max_bitrate_kbps = 12'000;
  settings.colour_primaries = ColourPrimaries::Bt2020;
  settings.transfer = Transfer::Pq;
  settings.matrix = ColourMatrix::Bt2020;
  settings.mastering = {1000, 0.005F, {0.68F, 0.32F}, 900, 400};
  ASSERT_TRUE(Create().ok());
  EXPECT_EQ(FakeMfProperty(CODECAPI_AVEncCommonMaxBitRate), 12'000'000);
  for (IMFMediaType* type : {fake_mf.in.Get(), fake_mf.out.Get()}) {
    EXPECT_EQ(Number(*type, MF_MT_VIDEO_PRIMARIES), 9U);
    EXPECT_EQ(Number(*type, MF_MT_TRANSFER_FUNCTION), 15U);
    EXPECT_EQ(Number(*type, MF_MT_YUV_MATRIX), 4U);
    EXPECT_EQ(Number(*type, mf::kMinMasteringLuminance), 50U);
  }

  settings.codec = Codec::Av1;
  settings.input_format = EncoderInput::Nv12;
  settings.rate_control = RateControl::ConstantQp;
  settings.qp = 60;
  ASSERT_TRUE(Create().ok());
  EXPECT_EQ(FakeMfProperty(CODECAPI_AVEncVideoEncodeQP), 255);
  ASSERT_TRUE(encoder->Header(header).ok());
  EXPECT_EQ(header, (std::vector<uint8_t>{0x0A, 2, 0, 0x80}));
}

TEST_F(MfEncoderTest, KeepsTimesExactAndPicturesUntilTheirPacketIsThere) {
  fake_mf.delay = 2;
  fake_mf.changes_its_type = true;
  fake_mf.rounding = 110;  // of a clock of 90 kHz
  settings.fps_num = 3;    // a keyframe each 6 pictures
  for (const bool gives_samples : {true, false}) {
    fake_mf.gives_samples = gives_samples;
    ASSERT_TRUE(Create().ok());
    std::vector<int64_t> times;
    std::string keys;
    const auto collect = [&](size_t count) {
      while (times.size() < count && Collect() >= 0) {
        times.push_back(packet.pts);
        keys += packet.keyframe ? 'K' : '.';
      }
    };
    for (uint64_t i = 0; i < 12; ++i) {
      ASSERT_TRUE(Submit(1'000'000'001 + i * 333'333'333, i == 8).ok());
      collect(i < 2 ? 0 : i - 1);
      EXPECT_EQ(PicturesHeld(), i < 2 ? i + 1 : 2);
    }
    ASSERT_TRUE(encoder->Drain().ok());
    EXPECT_EQ(Submit(0), Status(StatusCode::InvalidArgument, "Submit after Drain"));
    collect(12);
    EXPECT_EQ(Collect(), -2);
    EXPECT_EQ(times.back(), 1'000'000'001 + 11 * int64_t{333'333'333});
    EXPECT_EQ(keys, "K.....K.K...");
    EXPECT_EQ(PicturesHeld(), 0U);
  }
}

TEST_F(MfEncoderTest, EncodesAPictureToLearnAHeaderThatIsNotTold) {
  fake_mf.header_in_type = false;
  ASSERT_TRUE(Create().ok());
  EXPECT_EQ(fake_mf.started, 2) << "the one that learnt it is gone";
  std::vector<uint8_t> header;
  ASSERT_TRUE(encoder->Header(header).ok());
  ASSERT_GT(header.size(), 4U);
  EXPECT_EQ(header[4], 0x67);
  ASSERT_TRUE(Submit(kFrameNs).ok());
  EXPECT_EQ(Collect(), static_cast<int64_t>(kFrameNs));
  EXPECT_TRUE(packet.keyframe);

  fake_mf.failing_call = "ProcessOutput";
  fake_mf.failure = DXGI_ERROR_DEVICE_HUNG;
  EXPECT_EQ(Create(), Status(StatusCode::DeviceLost, "ProcessOutput failed (0x887A0006)"));
}

TEST_F(MfEncoderTest, TakesPacketsOutOfAFullQueueAndTellsOfFailures) {
  ASSERT_TRUE(Create().ok());
  for (uint64_t i = 0; i < 12; ++i) ASSERT_TRUE(Submit(i * kFrameNs).ok());
  EXPECT_EQ(fake_mf.taken, 12) << "with a queue of 4, and nobody collecting";
  for (int64_t i = 0; i < 12; ++i) EXPECT_EQ(Collect(), i * int64_t{kFrameNs});
  const std::pair<const char*, const char*> failures[] = {
      {"SetValue", "forcing a keyframe failed (0x887A0005)"},
      {"ProcessInput", "ProcessInput failed (0x887A0005)"},
      {"ProcessOutput", "ProcessOutput failed (0x887A0005)"}};
  for (const auto& [call, text] : failures) {
    fake_mf.failing_call.clear();
    ASSERT_TRUE(Create().ok());
    fake_mf.failing_call = call;
    fake_mf.failure = DXGI_ERROR_DEVICE_REMOVED;
    status = Submit(0);
    if (status.ok()) {
      EXPECT_EQ(Collect(), -3);
    }
    EXPECT_EQ(status, Status(StatusCode::DeviceLost, text));
  }
  fake_mf.failing_call.clear();
  EXPECT_EQ(encoder->Submit({}), Status(StatusCode::InvalidArgument, "null input texture"));

  ASSERT_TRUE(Create().ok());
  TellFakeMfError(DXGI_ERROR_DEVICE_REMOVED);
  EXPECT_EQ(Collect(), -3);
  EXPECT_EQ(status, Status(StatusCode::DeviceLost, "encoding failed (0x887A0005)"));

  fake_mf.delay = 100;
  ASSERT_TRUE(Create().ok());
  for (uint64_t i = 0; i < 4; ++i) ASSERT_TRUE(Submit(i * kFrameNs).ok());
  EXPECT_EQ(Submit(5 * kFrameNs),
            Status(StatusCode::DriverError, "ProcessInput failed: the encoder's queue stays full"));
}

// A Windows with a decoder for HEVC and none for AV1.
HRESULT STDAPICALLTYPE FindHevcOnly(GUID category, UINT32, const MFT_REGISTER_TYPE_INFO* in,
                                    const MFT_REGISTER_TYPE_INFO*, IMFActivate*** list,
                                    UINT32* count) {
  if (category != MFT_CATEGORY_VIDEO_DECODER) return E_INVALIDARG;
  if (in->guidSubtype != MFVideoFormat_HEVC) return S_OK;
  return MFTEnumEx(MFT_CATEGORY_VIDEO_ENCODER, MFT_ENUM_FLAG_ASYNCMFT | MFT_ENUM_FLAG_LOCALMFT,
                   nullptr, nullptr, list, count);
}

TEST(MfPlayers, WhatNoDecoderTakesDoesNotPlay) {
  MediaFoundation mf = FakeMediaFoundation();
  mf.enumerate = FindHevcOnly;
  MachineCodecs codecs;
  MarkWhatPlays(mf, codecs);
  EXPECT_TRUE(codecs[static_cast<size_t>(Codec::H264)].plays);
  EXPECT_TRUE(codecs[static_cast<size_t>(Codec::Hevc)].plays);
  EXPECT_FALSE(codecs[static_cast<size_t>(Codec::Av1)].plays);

  mf.enumerate = [](GUID, UINT32, const MFT_REGISTER_TYPE_INFO*, const MFT_REGISTER_TYPE_INFO*,
                    IMFActivate***, UINT32*) -> HRESULT { return E_FAIL; };
  codecs = {};
  MarkWhatPlays(mf, codecs);
  MarkWhatPlays({}, codecs);
  EXPECT_TRUE(codecs[static_cast<size_t>(Codec::Av1)].plays) << "nobody told";
}

}  // namespace
}  // namespace orventa
