// What the tests of cards' encoders have in common: a backend over a fake of its driver,
// textures of a real device, and what is asked of every encoder.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "base/base_win/win32.h"
#include "media/media_win/d3d11_device.h"
#include "media/media_win/d3d11_picture.h"
#include "tests/encoders/fakes/fake_encoders.h"
#include "tests/encoders/fakes_win/fake_driver.h"

namespace orventa {

inline AdapterFacts the_adapter;

template <class Backend>
class CardTest : public testing::Test {
 protected:
  CardTest(FakeDriver& fake, typename Backend::FindLibrary library, uint32_t vendor)
      : driver(fake), backend(library, [](const GraphicsDevice&) { return the_adapter; }) {
    the_adapter = FindAdapterFacts(*device);
    the_adapter.vendor_id = vendor;
    D3D11_TEXTURE2D_DESC wanted{};
    wanted.Width = settings.width;
    wanted.Height = settings.height;
    wanted.MipLevels = wanted.ArraySize = wanted.SampleDesc.Count = 1;
    wanted.Format = DXGI_FORMAT_NV12;
    for (auto& texture : textures) {
      EXPECT_EQ(device->device()->CreateTexture2D(&wanted, nullptr, &texture), S_OK);
    }
  }
  ~CardTest() override {
    encoder.reset();
    EXPECT_STREQ(driver.breach, "");
    EXPECT_EQ(driver.alive, 0);
    for (const auto& texture : textures) {
      EXPECT_TRUE(!texture || References(*texture.Get()) == 1);
    }
    the_adapter = {};
  }

  Status Create() { return backend.Create(*device, settings, encoder); }
  Status Submit(uint64_t pts, bool force = false, size_t texture = 0) {
    const bool ten_bit = settings.input_format == EncoderInput::P010;
    auto picture = std::make_shared<D3d11Picture>(ten_bit ? PixelFormat::P010 : PixelFormat::Nv12,
                                                  320, 180, textures[texture]);
    pictures.push_back(picture);
    return encoder->Submit({std::move(picture), pts, force});
  }
  // Tries again for as many milliseconds where packets come on their own time.
  int64_t Collect() {
    int64_t pts = CollectPts(*encoder, packet, status);
    for (int waited_ms = 0; pts == -1 && waited_ms < patience_ms; ++waited_ms) {
      PauseMs(1);
      pts = CollectPts(*encoder, packet, status);
    }
    return pts;
  }
  std::vector<uint8_t> Header() {
    std::vector<uint8_t> header;
    EXPECT_TRUE(encoder->Header(header).ok());
    return header;
  }
  static ULONG References(IUnknown& object) {
    object.AddRef();
    return object.Release();
  }

  static EncoderSettings Small() {
    EncoderSettings settings;
    settings.width = 320;
    settings.height = 180;
    return settings;
  }
  // One codec, way of control and depth each.
  void WantH264AtAConstantRate() {
    settings.rate_control = RateControl::Cbr;
    settings.bitrate_kbps = 8000;
    settings.preset = "quality";
  }
  void WantHevcForHdr() {
    settings = Small();
    settings.codec = Codec::Hevc;
    settings.input_format = EncoderInput::P010;
    settings.bitrate_kbps = 12'000;
    settings.max_bitrate_kbps = 10'000;  // less than the average
    settings.preset = "unknown";
    settings.colour_primaries = ColourPrimaries::Bt2020;
    settings.transfer = Transfer::Pq;
    settings.matrix = ColourMatrix::Bt2020;
    settings.mastering = {
        1000, 0.005F, {0.68F, 0.32F, 0.265F, 0.69F, 0.15F, 0.06F, 0.3127F, 0.329F}, 900, 400};
  }
  void WantAv1AtAConstantQuality() {
    settings = Small();
    settings.codec = Codec::Av1;
    settings.rate_control = RateControl::ConstantQp;
    settings.qp = 99;
    settings.full_range = true;
  }

  // Without AV1, which `failing_call` is to refuse for another reason.
  void ExpectOffer(const std::vector<CodecCaps>& expected, const char* failing_call,
                   int32_t failure, const Status& failed) {
    driver.has_av1 = false;
    EncoderCaps caps;
    EXPECT_TRUE(backend.Supports(*device) && backend.Probe(*device, caps).ok());
    EXPECT_EQ(caps.codecs, expected);
    EXPECT_EQ(caps.name, backend.Name());
    driver.failing_call = failing_call;
    driver.failure = failure;
    EXPECT_EQ(backend.Probe(*device, caps), failed);
    the_adapter.vendor_id = 0x1414;
    EXPECT_FALSE(backend.Supports(*device));
    the_adapter = {};
    EXPECT_FALSE(backend.Supports(*device));
    EXPECT_EQ(Create(), Status(StatusCode::InvalidArgument, "null D3D11 device"));
  }

  void ExpectFailure(const char* call, int32_t failure, const Status& expected) {
    driver.failing_call = call;
    driver.failure = failure;
    EXPECT_EQ(Create(), expected);
    EXPECT_EQ(driver.alive, 0) << call;
    driver.failing_call = "";
  }

  // Of an encoder that keeps two pictures back.
  void ExpectTimesKeyframesAndPictures() {
    settings.fps_num = 3;  // a keyframe each 6 pictures
    ASSERT_TRUE(Create().ok());
    constexpr int64_t kFirst = 1'000'000'001;  // between the ticks of 100 ns
    constexpr int64_t kStep = 333'333'333;
    int64_t next = kFirst;
    std::string keys;
    for (uint64_t i = 0; i < 12; ++i) {
      ASSERT_TRUE(Submit(kFirst + i * kStep, i == 8).ok());
      for (; i >= 2 && keys.size() < i - 1; next += kStep) {
        ASSERT_EQ(Collect(), next);
        keys += packet.keyframe ? 'K' : '.';
      }
      EXPECT_EQ(PicturesHeld(), std::min<uint64_t>(i + 1, 2));
    }
    ASSERT_TRUE(encoder->Drain().ok() && encoder->Drain().ok());
    EXPECT_EQ(Submit(0), Status(StatusCode::InvalidArgument, "Submit after Drain"));
    for (; keys.size() < 12; next += kStep) {
      ASSERT_EQ(Collect(), next);
      keys += packet.keyframe ? 'K' : '.';
    }
    EXPECT_EQ(Collect(), -2);
    EXPECT_EQ(keys, "K.....K.K...");
    EXPECT_EQ(PicturesHeld(), 0);
  }
  int64_t PicturesHeld() const {
    return std::count_if(pictures.begin(), pictures.end(), [](auto& p) { return !p.expired(); });
  }

  FakeDriver& driver;
  Backend backend;
  const std::shared_ptr<D3d11Device> device = [] {
    static const std::shared_ptr<D3d11Device> only = [] {
      std::shared_ptr<D3d11Device> made;
      std::string used;
      EXPECT_TRUE(MakeD3d11Device("", made, used).ok());
      return made;
    }();
    return only;
  }();
  EncoderSettings settings = Small();
  std::array<Microsoft::WRL::ComPtr<ID3D11Texture2D>, 6> textures;
  std::vector<std::weak_ptr<D3d11Picture>> pictures;
  int patience_ms = 0;
  std::unique_ptr<IVideoEncoder> encoder;  // of them
  EncodedPacket packet;
  Status status;
};

// The same over a fake library, which shares a `Fake` with the test by an export.
template <class Backend, class Api, class Fake>
class LibraryTest : public CardTest<Backend> {
 protected:
  LibraryTest(const wchar_t* name, const char* fake_of, uint32_t vendor)
      : CardTest<Backend>(Load(name, fake_of), LoadedApi, vendor),
        fake(static_cast<Fake&>(this->driver)) {}

  void ExpectLoad(const std::wstring& name, const char* failing_call, const Status& expected) {
    fake.failing_call = failing_call;
    fake.failure = 20;
    const DWORD flags = name == library ? 0 : LOAD_LIBRARY_SEARCH_SYSTEM32;
    EXPECT_EQ(Api(name.c_str(), flags).failure(), expected);
  }

  static inline std::wstring library;  // its path
  Fake& fake;

 private:
  static Fake& Load(const wchar_t* name, const char* fake_of) {
    library = FakeLibraryPath(name);
    return SharedWithFake<Fake* (*)()>(library, fake_of);
  }
  static const Api& LoadedApi() {
    static const Api api(library.c_str(), 0);
    return api;
  }
};

}  // namespace orventa
