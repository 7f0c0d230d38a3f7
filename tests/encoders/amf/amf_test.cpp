// AMF against a fake of its library, whose objects notice a function called in the
// place of another.
#include "encoders/amf/amf.h"

#include <gtest/gtest.h>

#include <array>

#include "encoders/amf/amf_api.h"
#include "media/media_win/d3d11_picture.h"
#include "tests/encoders/amf/fake_amf.h"
#include "tests/encoders/fakes/fake_encoders.h"
#include "tests/encoders/fakes_win/fake_driver.h"

namespace orventa {
namespace {

using namespace amf;

constexpr uint32_t kWidth = 320;
constexpr uint32_t kHeight = 180;

const std::wstring& FakeLibrary() {
  static const std::wstring path = FakeLibraryPath(L"amfrt64.dll");
  return path;
}

FakeAmf& Fake() {
  static FakeAmf& fake = SharedWithFake<FakeAmfOfFunction>(FakeLibrary(), "FakeAmfOf");
  return fake;
}

FakeTexture the_device;
AdapterFacts the_adapter;

class Amf : public testing::Test {
 protected:
  Amf() {
    const auto property = Fake().property;
    Fake() = {};
    Fake().property = property;
    the_adapter.device = FakeD3d11Device(the_device);
    the_adapter.vendor_id = 0x1002;
    settings.width = kWidth;
    settings.height = kHeight;
  }
  ~Amf() override {
    encoder.reset();
    the_adapter = {};
    EXPECT_STREQ(Fake().breach, "");
    EXPECT_EQ(Fake().contexts + Fake().components + Fake().surfaces + Fake().buffers, 0);
    EXPECT_EQ(the_device.references + texture.references, 0U);
  }

  Status Create() { return backend.Create(device, settings, encoder); }
  Status Submit(uint64_t pts, bool force = false) {
    const PixelFormat format =
        settings.input_format == EncoderInput::P010 ? PixelFormat::P010 : PixelFormat::Nv12;
    return encoder->Submit(
        {std::make_shared<D3d11Picture>(format, kWidth, kHeight, &texture), pts, force});
  }
  int64_t Collect() { return CollectPts(*encoder, packet, status); }
  static int64_t Number(const wchar_t* name) {
    const AMFVariantStruct value = Fake().property(name);
    return value.type == AMFVariantStruct::Int64 ? value.number : -1;
  }

  FakeDevice device;
  EncoderSettings settings;
  AmfBackend backend = AmfBackend(
      []() -> const AmfApi& {
        static const AmfApi api(FakeLibrary().c_str(), 0);
        return api;
      },
      [](const GraphicsDevice&) { return the_adapter; });
  FakeTexture texture;
  std::unique_ptr<IVideoEncoder> encoder;  // of it
  EncodedPacket packet;
  Status status;
};

TEST_F(Amf, TellsWhyItsLibraryDoesNotLoad) {
  struct Row {
    const wchar_t* library;
    const char* failing_call;
    uint64_t version;
    Status expected;
  };
  using enum StatusCode;
  const wchar_t* const fake = FakeLibrary().c_str();
  const Row rows[] = {
      {L"no such.dll", "", 0, {BackendUnavailable, "amfrt64.dll not present (no AMD driver)"}},
      {L"kernel32.dll", "", 0, {BackendUnavailable, "amfrt64.dll is missing expected exports"}},
      {fake, "AMFQueryVersion", 0, {DriverError, "AMFQueryVersion failed"}},
      {fake,
       "",
       Version(1, 4, 17),
       {BackendUnavailable,
        "AMD driver is too old for AMF 1.4.18 (driver reports 1.4.17) -- please update."}},
      {fake, "AMFInit", Version(1, 4, 18), {DriverError, "AMFInit failed"}},
      {fake, "", Version(1, 5, 2), {}},
  };
  for (const Row& row : rows) {
    Fake().failing_call = row.failing_call;
    Fake().failure = 1;
    Fake().version = row.version;
    const bool of_system = row.library != fake;
    EXPECT_EQ(AmfApi(row.library, of_system ? LOAD_LIBRARY_SEARCH_SYSTEM32 : 0).failure(),
              row.expected)
        << row.failing_call;
  }
  EXPECT_EQ(Fake().asked_version, Version(1, 4, 36)) << "no newer than it was written for";
}

TEST_F(Amf, OffersItselfOnItsMakersAdaptersAndProbesThem) {
  Fake().has_av1 = false;
  EncoderCaps caps;
  ASSERT_TRUE(backend.Supports(device) && backend.Probe(device, caps).ok());
  const std::vector<CodecCaps> expected = {{Codec::H264, 4096, 2304, false, false, false},
                                           {Codec::Hevc, 4096, 2304, true, false, false}};
  EXPECT_EQ(caps.codecs, expected);
  Fake().acceleration = 2;
  EXPECT_EQ(Create(), Status(StatusCode::Unsupported, "AMF has no encoder on this GPU for h264"));
  EXPECT_TRUE(backend.Probe(device, caps).ok() && caps.codecs.empty());
  Fake().failing_call = "InitDX11";
  Fake().failure = AMF_DIRECTX_FAILED;
  EXPECT_EQ(backend.Probe(device, caps),
            Status(StatusCode::DeviceLost, "InitDX11 failed (AMF error 18)"));
  the_adapter.vendor_id = 0x10DE;
  EXPECT_FALSE(backend.Supports(device));
}

TEST_F(Amf, TellsWhatFailedAndUnwinds) {
  using enum StatusCode;
  constexpr std::pair<AMF_RESULT, StatusCode> kMeanings[] = {
      {1, DriverError}, {4, InvalidArgument}, {6, SessionLimitReached}, {10, Unsupported},
      {17, DeviceLost}, {30, Unsupported},    {36, Unsupported}};
  for (const char* call : {"CreateContext", "InitDX11", "CreateComponent", "Init"}) {
    for (const auto& [result, code] : kMeanings) {
      Fake().failing_call = call;
      Fake().failure = result;
      const Status made = Create();
      EXPECT_EQ(made.code(), code) << made.ToString();
      EXPECT_EQ(made.message().rfind(std::string(call) + " failed", 0), 0U) << made.message();
      EXPECT_EQ(Fake().contexts + Fake().components, 0) << call;
    }
  }
  Fake().failing_call = "";
  Fake().refused = L"TargetBitrate";
  Fake().failure = AMF_OUT_OF_RANGE;
  EXPECT_EQ(Create(), Status(InvalidArgument, "setting TargetBitrate failed (AMF error 5)"));
  Fake().refused = L"OutMatrixCoeff";
  EXPECT_TRUE(Create().ok()) << "older runtimes do not know it";
}

TEST_F(Amf, SpeaksEachCodecsOwnNumbers) {
  settings.preset = "quality";
  settings.rate_control = RateControl::Cbr;
  settings.bitrate_kbps = 8000;
  ASSERT_TRUE(Create().ok());
  EXPECT_EQ(Number(L"RateControlMethod"), 1);
  EXPECT_EQ(Number(L"QualityPreset"), 2);
  EXPECT_EQ(Number(L"PeakBitrate"), 8'000'000);
  EXPECT_EQ(Number(L"VBVBufferSize"), 8'000'000);
  EXPECT_EQ(Fake().property(L"FrameRate").pair.first, 60U);
  std::vector<uint8_t> header;
  ASSERT_TRUE(encoder->Header(header).ok());
  EXPECT_EQ(header.at(4), 0x67);

  settings.codec = Codec::Hevc;
  settings.input_format = EncoderInput::P010;
  settings.rate_control = RateControl::Vbr;
  settings.max_bitrate_kbps = 12'000;
  settings.preset = "p4";
  settings.colour_primaries = ColourPrimaries::Bt2020;
  settings.transfer = Transfer::Pq;
  settings.matrix = ColourMatrix::Bt2020;
  settings.mastering = {1000, 0.005F, {0.68F, 0.32F}, 900, 400};
  ASSERT_TRUE(Create().ok());
  EXPECT_EQ(Number(L"HevcRateControlMethod"), 2);
  EXPECT_EQ(Number(L"HevcQualityPreset"), 5);
  EXPECT_EQ(Number(L"HevcPeakBitrate"), 12'000'000);
  EXPECT_EQ(Number(L"HevcProfile"), 2);
  EXPECT_EQ(Number(L"HevcOutColorTransferChar"), 16);
  EXPECT_EQ(Number(L"HevcOutColorProfile"), 2);
  EXPECT_EQ(Fake().metadata.primaries[0], 34'000);
  EXPECT_EQ(Fake().metadata.max_luminance, 10'000'000U);

  settings.codec = Codec::Av1;
  settings.input_format = EncoderInput::Nv12;
  settings.rate_control = RateControl::ConstantQp;
  settings.qp = 60;
  ASSERT_TRUE(Create().ok());
  EXPECT_EQ(Number(L"Av1RateControlMethod"), 0);
  EXPECT_EQ(Number(L"Av1QIndex_Intra"), 255);
  ASSERT_TRUE(encoder->Header(header).ok());
  EXPECT_EQ(header, (std::vector<uint8_t>{0x0A, 2, 0, 0x80}));
}

TEST_F(Amf, KeepsTimesExactAndPicturesUntilTheirPacketIsThere) {
  Fake().delay = 2;
  settings.fps_num = 3;  // a keyframe each 6 pictures
  ASSERT_TRUE(Create().ok());
  std::vector<int64_t> times;
  std::string keys;
  const auto collect = [&] {
    for (int64_t pts = Collect(); pts >= 0; pts = Collect()) {
      times.push_back(pts);
      keys += packet.keyframe ? 'K' : '.';
    }
  };
  for (uint64_t i = 0; i < 12; ++i) {
    ASSERT_TRUE(Submit(1'000'000'001 + i * 33'333'333, i == 8).ok());
    collect();
    EXPECT_EQ(times.size(), i < 2 ? 0 : i - 1);
    EXPECT_EQ(texture.references, i < 2 ? i + 1 : 2);
  }
  ASSERT_TRUE(encoder->Drain().ok());
  EXPECT_EQ(Submit(0), Status(StatusCode::InvalidArgument, "Submit after Drain"));
  collect();
  EXPECT_EQ(Collect(), -2);
  EXPECT_EQ(times.back(), 1'000'000'001 + 11 * 33'333'333);
  EXPECT_EQ(keys, "K.....K.K...");
}

TEST_F(Amf, TakesPacketsOutOfAFullQueueAndGivesUpOnAStuckOne) {
  Fake().delay = 100;
  Fake().queue = 4;
  ASSERT_TRUE(Create().ok());
  for (uint64_t i = 0; i < 6; ++i) ASSERT_TRUE(Submit(i * 100).ok());
  EXPECT_EQ(Collect(), 0);
  EXPECT_EQ(Collect(), 100);
  Fake().stuck = true;
  EXPECT_EQ(Submit(600),
            Status(StatusCode::DriverError, "SubmitInput failed: the encoder's queue stays full"));
  for (const char* call : {"CreateSurfaceFromDX11Native", "SubmitInput", "QueryOutput"}) {
    Fake().failing_call = call;
    Fake().failure = AMF_NO_DEVICE;
    const Status failed = std::string(call) == "QueryOutput" ? (Collect(), status) : Submit(700);
    EXPECT_EQ(failed.code(), StatusCode::DeviceLost) << call;
  }
  EXPECT_EQ(encoder->Submit({}), Status(StatusCode::InvalidArgument, "null input texture"));
}

}  // namespace
}  // namespace orventa
