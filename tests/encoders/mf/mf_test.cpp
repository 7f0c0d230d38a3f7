// Quick Sync against a fake of its transform, with Media Foundation as the system has it.
#include "encoders/mf/mf.h"

#include <mferror.h>

#include <cstring>

#include "encoders/mf/mf_names.h"
#include "encoders/mf/mf_players.h"
#include "tests/encoders/fakes_win/card_test.h"
#include "tests/encoders/mf/fake_mf.h"

namespace orventa {
namespace {

constexpr uint64_t kFrameNs = 16'666'667;

class QuickSync : public CardTest<QsvBackend> {
 protected:
  QuickSync() : CardTest(fake_mf, FakeMediaFoundation, 0x8086) {
    fake_mf = {};
    patience_ms = 2000;
  }
  ~QuickSync() override {
    encoder.reset();
    fake_mf.in = fake_mf.out = nullptr;  // no types outlive the library
  }

  static UINT32 Number(IMFMediaType& type, const GUID& key) {
    UINT32 value = 0;
    EXPECT_EQ(type.GetUINT32(key, &value), S_OK);
    return value;
  }
};

TEST_F(QuickSync, OffersItselfOnItsMakersAdaptersAndProbesThem) {
  QsvBackend without(
      []() -> const MediaFoundation& {
        static const MediaFoundation none;
        return none;
      },
      FindAdapterFacts);
  EXPECT_FALSE(without.Supports(*device));
  EXPECT_EQ(without.LoadMessage(), "this Windows has no Media Foundation");
  EXPECT_EQ(without.Create(*device, settings, encoder).code(), StatusCode::BackendUnavailable);

  const LUID luid = the_adapter.luid;
  ExpectOffer({{Codec::H264, 4096, 4096, false, false, false},
               {Codec::Hevc, 4096, 4096, true, false, false}},
              "START_OF_STREAM", DXGI_ERROR_DEVICE_REMOVED,
              {StatusCode::DeviceLost, "MFT_MESSAGE_NOTIFY_START_OF_STREAM failed (0x887A0005)"});
  EXPECT_EQ(std::memcmp(&fake_mf.luid, &luid, sizeof(luid)), 0) << "that adapter, no other";
}

TEST_F(QuickSync, TellsWhatFailedAndUnwinds) {
  using enum StatusCode;
  ExpectFailure("SET_D3D_MANAGER", MF_E_UNSUPPORTED_D3D_TYPE,
                {Unsupported, "MFT_MESSAGE_SET_D3D_MANAGER failed (0xC00D6D76)"});
  ExpectFailure("SetValue", E_INVALIDARG,
                {InvalidArgument, "setting the rate control failed (0x80070057)"});
  ExpectFailure("SetOutputType", MF_E_INVALIDMEDIATYPE,
                {Unsupported, "SetOutputType failed (0xC00D36B4)"});
  ExpectFailure("SetInputType", E_FAIL, {DriverError, "SetInputType failed (0x80004005)"});
  ExpectFailure("START_OF_STREAM", MF_E_HW_MFT_FAILED_START_STREAMING,
                {SessionLimitReached,
                 "MFT_MESSAGE_NOTIFY_START_OF_STREAM failed (0xC00D3704) (GPU encoder busy or out "
                 "of memory -- another capture app may be running)"});
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

TEST_F(QuickSync, SpeaksEachCodecsOwnNumbers) {
  WantH264AtAConstantRate();
  ASSERT_TRUE(Create().ok());
  EXPECT_EQ(FakeMfProperty(CODECAPI_AVEncCommonRateControlMode), 0);
  EXPECT_EQ(FakeMfProperty(CODECAPI_AVEncCommonMaxBitRate), 8'000'000);
  EXPECT_EQ(FakeMfProperty(CODECAPI_AVEncCommonBufferSize), 1'000'000);
  EXPECT_EQ(FakeMfProperty(CODECAPI_AVEncCommonQualityVsSpeed), 100);
  EXPECT_EQ(Number(*fake_mf.out.Get(), MF_MT_MPEG2_PROFILE), 100U);
  EXPECT_FALSE(encoder->Settings().adaptive_quantization) << "there is none to ask for";
  EXPECT_EQ(Header(), FakeHeader(0));

  WantHevcForHdr();
  ASSERT_TRUE(Create().ok());
  EXPECT_EQ(FakeMfProperty(CODECAPI_AVEncCommonMaxBitRate), 12'000'000);
  for (IMFMediaType* type : {fake_mf.in.Get(), fake_mf.out.Get()}) {
    EXPECT_EQ(Number(*type, MF_MT_VIDEO_PRIMARIES), 9U);
    EXPECT_EQ(Number(*type, MF_MT_TRANSFER_FUNCTION), 15U);
    EXPECT_EQ(Number(*type, MF_MT_YUV_MATRIX), 4U);
    EXPECT_EQ(Number(*type, mf::kMinMasteringLuminance), 50U);
  }

  WantAv1AtAConstantQuality();
  ASSERT_TRUE(Create().ok());
  EXPECT_EQ(FakeMfProperty(CODECAPI_AVEncVideoEncodeQP), 255);
  EXPECT_EQ(Header(), (std::vector<uint8_t>{0x0A, 2, 0, 0x80}));
}

TEST_F(QuickSync, KeepsTimesExactAndPicturesUntilTheirPacketIsThere) {
  fake_mf.delay = 2;
  fake_mf.changes_its_type = true;
  fake_mf.rounding = 110;  // of a clock of 90 kHz
  for (const bool gives_samples : {true, false}) {
    fake_mf.gives_samples = gives_samples;
    ExpectTimesKeyframesAndPictures();
  }
}

TEST_F(QuickSync, EncodesAPictureToLearnAHeaderThatIsNotTold) {
  fake_mf.header_in_type = false;
  ASSERT_TRUE(Create().ok());
  EXPECT_EQ(fake_mf.started, 2) << "the one that learnt it is gone";
  EXPECT_EQ(Header(), FakeHeader(0));
  ASSERT_TRUE(Submit(kFrameNs).ok());
  EXPECT_EQ(Collect(), static_cast<int64_t>(kFrameNs));
  EXPECT_TRUE(packet.keyframe);
  encoder.reset();
  ExpectFailure("ProcessOutput", DXGI_ERROR_DEVICE_HUNG,
                {StatusCode::DeviceLost, "ProcessOutput failed (0x887A0006)"});
}

TEST_F(QuickSync, TakesPacketsOutOfAFullQueueAndTellsOfFailures) {
  ASSERT_TRUE(Create().ok());
  for (uint64_t i = 0; i < 12; ++i) ASSERT_TRUE(Submit(i * kFrameNs).ok());
  EXPECT_EQ(fake_mf.taken, 12) << "with a queue of 4, and nobody collecting";
  for (int64_t i = 0; i < 12; ++i) EXPECT_EQ(Collect(), i * int64_t{kFrameNs});
  const std::pair<const char*, const char*> failures[] = {
      {"SetValue", "forcing a keyframe failed (0x887A0005)"},
      {"ProcessInput", "ProcessInput failed (0x887A0005)"},
      {"ProcessOutput", "ProcessOutput failed (0x887A0005)"},
      {"MEError", "encoding failed (0x887A0005)"}};
  fake_mf.failure = DXGI_ERROR_DEVICE_REMOVED;
  for (const auto& [call, text] : failures) {
    fake_mf.failing_call = "";
    ASSERT_TRUE(Create().ok());
    fake_mf.failing_call = call;
    const bool by_itself = fake_mf.Refuses("MEError");
    if (by_itself) TellFakeMfError(fake_mf.failure);
    if (by_itself || (status = Submit(0)).ok()) {
      EXPECT_EQ(Collect(), -3);
    }
    EXPECT_EQ(status, Status(StatusCode::DeviceLost, text));
  }
  EXPECT_EQ(encoder->Submit({}), Status(StatusCode::InvalidArgument, "null input texture"));

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
