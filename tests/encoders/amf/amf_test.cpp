// AMF against a fake of its library, whose objects notice a function called in the
// place of another.
#include "encoders/amf/amf.h"

#include "base/text.h"
#include "encoders/amf/amf_api.h"
#include "encoders/picture_queue.h"
#include "tests/encoders/amf/fake_amf.h"
#include "tests/encoders/fakes_win/card_test.h"

namespace orventa {
namespace {

using namespace amf;

class Amf : public LibraryTest<AmfBackend, AmfApi, FakeAmf> {
 protected:
  Amf() : LibraryTest(L"amfrt64.dll", "FakeAmfOf", 0x1002) {
    const auto property = fake.property;
    fake = {};
    fake.property = property;
  }

  int64_t Number(const wchar_t* name) const {
    const AMFVariantStruct value = fake.property(name);
    return value.type == AMFVariantStruct::Int64 ? value.number : -1;
  }
};

TEST_F(Amf, TellsWhyItsLibraryDoesNotLoad) {
  using enum StatusCode;
  ExpectLoad(L"no such.dll", "", {BackendUnavailable, "amfrt64.dll not present (no AMD driver)"});
  ExpectLoad(L"kernel32.dll", "", {BackendUnavailable, "amfrt64.dll is missing expected exports"});
  for (const char* call : {"AMFQueryVersion", "AMFInit"}) {
    ExpectLoad(library, call, {DriverError, std::string(call) + " failed"});
  }
  fake.version = Version(1, 4, 17);
  ExpectLoad(library, "",
             {BackendUnavailable,
              "AMD driver is too old for AMF 1.4.18 (driver reports 1.4.17) -- please update."});
  for (const uint64_t version : {Version(1, 4, 18), Version(1, 5, 2)}) {
    fake.version = version;
    ExpectLoad(library, "", {});
    EXPECT_EQ(fake.asked_version, std::min(version, Version(1, 4, 36)));
  }
}

TEST_F(Amf, OffersItselfOnItsMakersAdaptersAndProbesThem) {
  ExpectOffer({{Codec::H264, 4096, 2304, false, false, false},
               {Codec::Hevc, 4096, 2304, true, false, false}},
              "InitDX11", AMF_DIRECTX_FAILED,
              {StatusCode::DeviceLost, "InitDX11 failed (AMF error 18)"});
}

TEST_F(Amf, TellsWhatFailedAndUnwinds) {
  using enum StatusCode;
  constexpr std::pair<AMF_RESULT, StatusCode> kMeanings[] = {
      {1, DriverError}, {4, InvalidArgument}, {10, Unsupported},
      {17, DeviceLost}, {30, Unsupported},    {36, Unsupported}};
  for (const char* call : {"CreateContext", "InitDX11", "CreateComponent", "Init"}) {
    for (const auto& [result, code] : kMeanings) {
      ExpectFailure(call, result, {code, Format("%s failed (AMF error %d)", call, result)});
    }
  }
  ExpectFailure("Init", 6,
                {SessionLimitReached,
                 "Init failed (AMF error 6) (GPU encoder busy or out of memory -- "
                 "another capture app may be running)"});
  fake.refused = L"TargetBitrate";
  ExpectFailure("", AMF_OUT_OF_RANGE,
                {InvalidArgument, "setting TargetBitrate failed (AMF error 5)"});
  fake.refused = L"OutMatrixCoeff";
  EXPECT_TRUE(Create().ok()) << "older runtimes do not know it";
  fake.acceleration = 2;
  EXPECT_EQ(Create(), Status(Unsupported, "AMF has no encoder on this GPU for h264"));
}

TEST_F(Amf, SpeaksEachCodecsOwnNumbers) {
  WantH264AtAConstantRate();
  ASSERT_TRUE(Create().ok());
  EXPECT_EQ(Number(L"RateControlMethod"), 1);
  EXPECT_EQ(Number(L"QualityPreset"), 2);
  EXPECT_EQ(Number(L"PeakBitrate"), 8'000'000);
  EXPECT_EQ(Number(L"VBVBufferSize"), 8'000'000);
  EXPECT_EQ(fake.property(L"FrameRate").pair.first, 60U);
  EXPECT_EQ(Header(), FakeHeader(0));

  WantHevcForHdr();
  ASSERT_TRUE(Create().ok());
  EXPECT_EQ(Number(L"HevcRateControlMethod"), 2);
  EXPECT_EQ(Number(L"HevcQualityPreset"), 5);
  EXPECT_EQ(Number(L"HevcPeakBitrate"), 12'000'000);
  EXPECT_EQ(Number(L"HevcProfile"), 2);
  EXPECT_EQ(Number(L"HevcOutColorTransferChar"), 16);
  EXPECT_EQ(Number(L"HevcOutColorProfile"), 2);
  EXPECT_EQ(fake.metadata.primaries[0], 34'000);
  EXPECT_EQ(fake.metadata.max_luminance, 10'000'000U);

  WantAv1AtAConstantQuality();
  ASSERT_TRUE(Create().ok());
  EXPECT_EQ(Number(L"Av1RateControlMethod"), 0);
  EXPECT_EQ(Number(L"Av1QIndex_Intra"), 255);
  EXPECT_EQ(Number(L"Av1OutputColorProfile"), 7) << "full range";
  EXPECT_EQ(Header(), (std::vector<uint8_t>{0x0A, 2, 0, 0x80}));
  ASSERT_TRUE(Submit(0).ok());
  EXPECT_EQ(Collect(), 0);
  EXPECT_EQ(packet.data.size(), 3U) << "no temporal delimiter";
}

TEST_F(Amf, KeepsTimesExactAndPicturesUntilTheirPacketIsThere) {
  fake.delay = 2;
  ExpectTimesKeyframesAndPictures();
}

TEST_F(Amf, TakesPacketsOutOfAFullQueueAndGivesUpOnAStuckOne) {
  fake.delay = 100;
  fake.queue = 4;
  ASSERT_TRUE(Create().ok());
  for (uint64_t i = 0; i < PictureQueue::kSlots; ++i) ASSERT_TRUE(Submit(i * 100).ok());
  EXPECT_EQ(Submit(0), Status(StatusCode::OutOfMemory, "too many packets wait to be collected"));
  for (int64_t i = 0; i < 8; ++i) EXPECT_EQ(Collect(), i * 100);
  fake.stuck = true;
  EXPECT_EQ(Submit(6400),
            Status(StatusCode::DriverError, "SubmitInput failed: the encoder's queue stays full"));
  fake.failure = AMF_NO_DEVICE;
  for (const char* call : {"CreateSurfaceFromDX11Native", "SubmitInput", "QueryOutput"}) {
    fake.failing_call = call;
    EXPECT_EQ(Submit(6400),
              Status(StatusCode::DeviceLost, std::string(call) + " failed (AMF error 17)"));
  }
  EXPECT_EQ(encoder->Submit({}), Status(StatusCode::InvalidArgument, "null input texture"));
}

}  // namespace
}  // namespace orventa
