// The converter of the graphics card on Wine's Direct3D, which the processor plays.
#include "convert/convert_win/frame_converter.h"

#include <gtest/gtest.h>

#include <cstring>
#include <set>

#include "convert/memory_converter.h"
#include "shader_cases.h"
#include "tests/graphics_win/wine_converter.h"

using Microsoft::WRL::ComPtr;

namespace orventa {
namespace {

using test::MakeTexture;
using test::Texture;

class FrameConverterTest : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    std::string used;
    const Status status = MakeD3d11Device("", device_, used);
    ASSERT_TRUE(status.ok()) << status.ToString();
  }
  static void TearDownTestSuite() { device_.reset(); }

  ID3D11Device& d3d() { return *device_->device(); }

  ConverterParts WineParts() { return test::WineConverterParts(chroma_of_); }

  PictureRef Upload(const MemoryPicture& picture) {
    const DXGI_FORMAT format = picture.format() == PixelFormat::RgbaHalf
                                   ? DXGI_FORMAT_R16G16B16A16_FLOAT
                                   : DXGI_FORMAT_B8G8R8A8_UNORM;
    return std::make_shared<D3d11Picture>(
        picture.format(), picture.width(), picture.height(),
        MakeTexture(d3d(), format, picture.width(), picture.height(), D3D11_BIND_SHADER_RESOURCE,
                    &picture.plane(0)));
  }

  void ReadPlane(ID3D11Texture2D* texture, const MemoryPicture& out, size_t plane) {
    D3D11_TEXTURE2D_DESC is{};
    texture->GetDesc(&is);
    const Texture staging =
        MakeTexture(d3d(), is.Format, is.Width, is.Height, 0, nullptr, D3D11_USAGE_STAGING);
    device_->context()->CopyResource(staging.Get(), texture);
    D3D11_MAPPED_SUBRESOURCE mapped{};
    ASSERT_TRUE(SUCCEEDED(device_->context()->Map(staging.Get(), 0, D3D11_MAP_READ, 0, &mapped)));
    const size_t row = out.width() * (out.format() == PixelFormat::P010 ? 2 : 1);
    for (size_t y = 0; y < is.Height; ++y) {
      std::memcpy(out.plane(plane).data + y * out.plane(plane).stride,
                  static_cast<const uint8_t*>(mapped.pData) + y * mapped.RowPitch, row);
    }
    device_->context()->Unmap(staging.Get(), 0);
  }

  std::shared_ptr<MemoryPicture> Download(const PictureRef& picture) {
    auto out = MemoryPicture::Allocate(picture->format(), picture->width(), picture->height());
    ReadPlane(D3d11Picture::From(*picture)->texture(), *out, 0);
    ReadPlane(chroma_of_.at(picture.get()).Get(), *out, 1);
    return out;
  }

  static inline std::shared_ptr<D3d11Device> device_;
  test::ChromaPlanes chroma_of_;
};

TEST_F(FrameConverterTest, DrawsWhatTheConversionInMemoryDoes) {
  for (const test::ShaderCase& row : test::ShaderCases({96, 32, 12})) {
    SCOPED_TRACE(row.name);
    std::unique_ptr<IFrameConverter> converter;
    const Status made = FrameConverter::Create(*device_, row.settings, converter, WineParts());
    ASSERT_TRUE(made.ok()) << made.ToString();
    converter->SetDrawnClass(row.drawn);
    PictureRef out;
    // Another format first, where both are taken: the view of it must not stay.
    if (row.settings.hdr_input && !row.settings.hdr10) {
      const auto codes = test::GradientCodes();
      ASSERT_TRUE(converter->Convert(Upload(*codes), out).ok());
      test::HoldAgainstTwin({row.name, row.settings, row.drawn, codes}, *Download(out));
    }
    const Status status = converter->Convert(Upload(*row.input), out);
    ASSERT_TRUE(status.ok()) << status.ToString();
    test::HoldAgainstTwin(row, *Download(out));
  }
}

TEST_F(FrameConverterTest, FollowsTonesAndGivesThePoolRoundInTurn) {
  test::ShaderCase row{"tones", {}, DrawnClass::HdrOrUnknown, test::GradientLight()};
  row.settings = test::SettingsFor(test::kCaseWidth, test::kCaseHeight, test::kCaseWidth,
                                   test::kCaseHeight, 3);
  row.settings.hdr_input = true;
  std::unique_ptr<IFrameConverter> converter;
  ASSERT_TRUE(FrameConverter::Create(*device_, row.settings, converter, WineParts()).ok());
  const PictureRef input = Upload(*row.input);
  std::vector<PictureRef> given;
  const auto hold = [&] {
    PictureRef out;
    ASSERT_TRUE(converter->Convert(input, out).ok());
    test::HoldAgainstTwin(row, *Download(out));
    given.push_back(out);
  };
  hold();
  ASSERT_TRUE(converter->SetTone(2.0F, 3.0F).ok());
  EXPECT_EQ(converter->SetTone(0.0F, 3.0F).code(), StatusCode::InvalidArgument);
  row.settings.sdr_white = 2.0F;
  row.settings.peak = 3.0F;
  hold();
  ASSERT_TRUE(converter->RaisePeak(2.0F).ok());
  hold();
  ASSERT_TRUE(converter->RaisePeak(9.0F).ok());
  row.settings.peak = 9.0F;
  hold();
  row.drawn = DrawnClass::Sdr8Bit;
  converter->SetDrawnClass(row.drawn);
  hold();
  hold();
  for (size_t i = 0; i < 3; ++i) EXPECT_EQ(given[i], given[i + 3]);
  EXPECT_EQ(std::set<PictureRef>(given.begin(), given.end()).size(), 3U);
}

TEST_F(FrameConverterTest, RefusesWhatItCannotDrawFrom) {
  const auto codes = test::GradientCodes();
  const ConverterSettings settings =
      test::SettingsFor(test::kCaseWidth, test::kCaseHeight, test::kCaseWidth, test::kCaseHeight);
  std::unique_ptr<IFrameConverter> converter;
  ASSERT_TRUE(FrameConverter::Create(*device_, settings, converter, WineParts()).ok());

  std::shared_ptr<D3d11Device> other;
  std::string used;
  ASSERT_TRUE(MakeD3d11Device("", other, used).ok());
  const auto wrapped = [&](ID3D11Device& device, DXGI_FORMAT format, uint32_t width, UINT bind) {
    return std::make_shared<D3d11Picture>(
        PixelFormat::Bgra8, test::kCaseWidth, test::kCaseHeight,
        MakeTexture(device, format, width, test::kCaseHeight, bind));
  };
  constexpr auto kBgra = DXGI_FORMAT_B8G8R8A8_UNORM;
  const PictureRef refused[] = {
      nullptr,
      codes,
      Upload(*test::NoiseCodes(40, 30, 1)),
      Upload(*test::GradientLight()),
      wrapped(*other->device(), kBgra, 96, D3D11_BIND_SHADER_RESOURCE),
      wrapped(d3d(), kBgra, 100, D3D11_BIND_SHADER_RESOURCE),
      wrapped(d3d(), DXGI_FORMAT_R8G8B8A8_UNORM, 96, D3D11_BIND_SHADER_RESOURCE),
      wrapped(d3d(), kBgra, 96, D3D11_BIND_RENDER_TARGET),
  };
  PictureRef out;
  for (const PictureRef& picture : refused) {
    EXPECT_EQ(converter->Convert(picture, out).code(), StatusCode::InvalidArgument)
        << &picture - refused;
  }
  EXPECT_EQ(out, nullptr);
  EXPECT_TRUE(converter->Convert(Upload(*codes), out).ok());
}

// Wine's own lacks are as good as a driver's.
TEST_F(FrameConverterTest, SaysWhatTheSystemRefused) {
  ConverterSettings settings = test::SettingsFor(64, 36, 64, 36);
  for (const bool ten_bit : {false, true}) {
    settings.ten_bit = ten_bit;
    ConverterParts parts = WineParts();
    parts.make_target = MakePlanarTarget;
    std::unique_ptr<IFrameConverter> converter;
    const Status status = FrameConverter::Create(*device_, settings, converter, parts);
    EXPECT_EQ(status, Status(StatusCode::DriverError, ten_bit ? "CreateTexture2D(P010) failed"
                                                              : "CreateTexture2D(NV12) failed"));
    EXPECT_EQ(converter, nullptr);
  }
  ShaderCode code;
  const Status status = CompileShader({"float4 main( {", {}, "main", "ps_5_0"}, code);
  EXPECT_EQ(status.code(), StatusCode::DriverError);
  EXPECT_TRUE(status.message().starts_with("D3DCompile(ps_5_0) failed: ")) << status.message();
  EXPECT_NE(status.message().find("syntax"), std::string::npos) << status.message();
}

}  // namespace
}  // namespace orventa
