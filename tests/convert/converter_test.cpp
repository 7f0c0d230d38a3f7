#include "convert/converter.h"

#include <gtest/gtest.h>

#include <cmath>
#include <set>

#include "convert/memory_converter.h"
#include "pictures.h"

namespace orventa {
namespace {

ConverterSettings Base() {
  return test::SettingsFor(64, 36, 64, 36, 3);
}

std::unique_ptr<IFrameConverter> Make(const ConverterSettings& settings) {
  std::unique_ptr<IFrameConverter> converter;
  const Status status = MakeMemoryConverter(settings, converter);
  EXPECT_TRUE(status.ok()) << status.ToString();
  return converter;
}

TEST(Converter, RefusesWhatNoFrameCanBe) {
  const auto refused = [](auto change) {
    ConverterSettings settings = Base();
    change(settings);
    std::unique_ptr<IFrameConverter> converter;
    const Status status = MakeMemoryConverter(settings, converter);
    EXPECT_EQ(status.code(), StatusCode::InvalidArgument);
    EXPECT_EQ(converter, nullptr);
    return status.message();
  };
  const std::string even = "NV12 requires non-zero even dimensions";
  EXPECT_EQ(refused([](auto& s) { s.width = 0; }), even);
  EXPECT_EQ(refused([](auto& s) { s.height = 0; }), even);
  EXPECT_EQ(refused([](auto& s) { s.width = 63; }), even);
  EXPECT_EQ(refused([](auto& s) { s.height = 35; }), even);
  refused([](auto& s) { s.input_width = 0; });
  refused([](auto& s) { s.width = 0x80000000U; });
  refused([](auto& s) { s.pool_size = 0; });
  refused([](auto& s) { s.sdr_white = 0; });
  refused([](auto& s) { s.sdr_white = std::nanf(""); });
  refused([](auto& s) { s.hdr10 = true; });
  refused([](auto& s) { s.source_rect = {1, 0, 64, 36}; });
  refused([](auto& s) { s.source_rect = {0xFFFFFFFFU, 0, 2, 36}; });
  refused([](auto& s) { s.source_rect = {0, 0, 0, 36}; });
}

class Elsewhere final : public Picture {
 public:
  Elsewhere() : Picture(PixelFormat::Bgra8, 64, 36) {}
};

TEST(Converter, RefusesMismatchingInput) {
  PictureRef out;
  const auto code_of = [&out](IFrameConverter& converter, PictureRef input) {
    return converter.Convert(input, out).code();
  };
  const auto codes = Make(Base());
  EXPECT_EQ(code_of(*codes, nullptr), StatusCode::InvalidArgument);
  EXPECT_EQ(code_of(*codes, std::make_shared<Elsewhere>()), StatusCode::InvalidArgument);
  EXPECT_EQ(code_of(*codes, test::NoiseCodes(62, 36, 1)), StatusCode::InvalidArgument);
  EXPECT_EQ(code_of(*codes, test::NoiseCodes(64, 37, 1)), StatusCode::InvalidArgument);
  EXPECT_EQ(code_of(*codes, test::NoiseLight(64, 36, 1)), StatusCode::InvalidArgument);
  EXPECT_EQ(out, nullptr);
  EXPECT_EQ(code_of(*codes, test::NoiseCodes(64, 36, 1)), StatusCode::Ok);

  // A capture of an HDR display may go over to codes, but PQ is not made from them.
  ConverterSettings settings = Base();
  settings.hdr_input = true;
  EXPECT_EQ(code_of(*Make(settings), test::NoiseCodes(64, 36, 1)), StatusCode::Ok);
  settings.hdr10 = true;
  EXPECT_EQ(code_of(*Make(settings), test::NoiseCodes(64, 36, 1)), StatusCode::InvalidArgument);
}

TEST(Converter, GivesThePoolRoundInTurn) {
  const auto converter = Make(Base());
  std::vector<PictureRef> given;
  for (uint32_t i = 0; i < 6; ++i) {
    PictureRef out;
    ASSERT_TRUE(converter->Convert(test::NoiseCodes(64, 36, i), out).ok());
    given.push_back(out);
  }
  EXPECT_EQ(std::set<PictureRef>(given.begin(), given.end()).size(), 3U);
  for (size_t i = 0; i < 3; ++i) EXPECT_EQ(given[i], given[i + 3]);
}

// Four frames of white in a wide picture: the bars are black, and no frame touches
// them, not even one that has been scribbled on from outside.
TEST(Converter, LeavesTheBarsAsTheyWere) {
  const auto white = test::Codes(64, 16, [](uint32_t, uint32_t) {
    return test::Code{255, 255, 255};
  });
  for (const bool ten_bit : {false, true}) {
    ConverterSettings settings = Base();
    settings.input_height = 16;
    settings.ten_bit = ten_bit;
    settings.pool_size = 1;
    const auto converter = Make(settings);
    const uint32_t unit = ten_bit ? 64 * 4 : 1;
    const PlacedRect rect = Letterbox(64, 16, 64, 36);
    ASSERT_EQ(rect, (PlacedRect{0, 10, 64, 16}));
    PictureRef out;
    for (int frame = 0; frame < 4; ++frame) {
      ASSERT_TRUE(converter->Convert(white, out).ok());
      const MemoryPicture& picture = *out->InMemory();
      for (size_t y = 0; y < 36; ++y) {
        const bool bar = y < rect.top || y >= rect.top + rect.height;
        for (size_t x = 0; x < 64; ++x) {
          const uint32_t luma = test::CodeAt(picture, 0, x, y);
          const bool touched = bar && x == 5 && y == 2 && frame > 0;
          ASSERT_EQ(luma, touched ? 77 : (bar ? 16 : 235) * unit) << x << "," << y;
          ASSERT_EQ(test::CodeAt(picture, 1, x, y / 2), 128 * unit);
        }
      }
      uint8_t* pixel = picture.plane(0).data + 2 * picture.plane(0).stride + (ten_bit ? 10 : 5);
      const uint16_t mark = 77;
      std::memcpy(pixel, &mark, ten_bit ? 2 : 1);
    }
  }
}

TEST(Converter, GivesEveryDrawnCodeBack) {
  for (const float white : {1.0F, 1.25F, 2.05F, 2.5F, 3.9F, 6.0F}) {
    for (const bool ten_bit_codes : {false, true}) {
      const uint32_t codes = ten_bit_codes ? 1024 : 256;
      ConverterSettings settings = test::SettingsFor(2 * codes, 2, 2 * codes, 2);
      settings.hdr_input = true;
      settings.ten_bit = ten_bit_codes;
      settings.sdr_white = white;
      settings.peak = 5.0F;
      const auto composed = test::Light(2 * codes, 2, [&](uint32_t x, uint32_t) {
        const uint16_t half = test::ComposedGrey(x / 2, codes, white);
        return test::Halves{half, half, half};
      });
      for (const Instructions instructions : {Instructions::Portable, BestInstructions()}) {
        std::unique_ptr<IFrameConverter> converter;
        ASSERT_TRUE(MakeMemoryConverterFor(instructions, settings, converter).ok());
        converter->SetDrawnClass(ten_bit_codes ? DrawnClass::Sdr10Bit : DrawnClass::Sdr8Bit);
        PictureRef out;
        ASSERT_TRUE(converter->Convert(composed, out).ok());
        for (uint32_t code = 0; code < codes; ++code) {
          const double drawn = static_cast<double>(code) / (codes - 1);
          const double luma = ten_bit_codes ? 64 + 876 * drawn : 16 + 219 * drawn;
          const uint32_t unit = ten_bit_codes ? 64 : 1;
          ASSERT_EQ(test::CodeAt(*out->InMemory(), 0, 2 * code, 0),
                    static_cast<uint32_t>(std::lround(luma)) * unit)
              << "code " << code << " of " << codes << " at white " << white;
          ASSERT_EQ(test::CodeAt(*out->InMemory(), 1, 2 * code, 0),
                    (ten_bit_codes ? 512 : 128) * unit);
        }
      }
    }
  }
}

uint32_t LumaOfGrey(IFrameConverter& converter, float light) {
  PictureRef out;
  const auto picture = test::Light(64, 36, [light](uint32_t, uint32_t) {
    return test::ToHalves({light, light, light});
  });
  EXPECT_TRUE(converter.Convert(picture, out).ok());
  return test::CodeAt(*out->InMemory(), 0, 30, 20);
}

TEST(Converter, MapsThePeakToWhiteAndFollowsNewValues) {
  ConverterSettings settings = Base();
  settings.hdr_input = true;
  settings.sdr_white = 2.0F;
  settings.peak = 4.0F;
  const auto converter = Make(settings);
  EXPECT_EQ(LumaOfGrey(*converter, 8.0F), 235U);
  EXPECT_EQ(LumaOfGrey(*converter, 1000.0F), 235U);
  const uint32_t half_way = LumaOfGrey(*converter, 4.0F);
  EXPECT_LT(half_way, 235U);

  ASSERT_TRUE(converter->RaisePeak(2.0F).ok());  // below the peak: nothing
  EXPECT_EQ(LumaOfGrey(*converter, 4.0F), half_way);
  ASSERT_TRUE(converter->RaisePeak(8.0F).ok());
  EXPECT_EQ(LumaOfGrey(*converter, 16.0F), 235U);
  EXPECT_LT(LumaOfGrey(*converter, 4.0F), half_way);

  EXPECT_EQ(converter->SetTone(0.0F, 4.0F).code(), StatusCode::InvalidArgument);
  EXPECT_EQ(converter->SetTone(-1.0F, 4.0F).code(), StatusCode::InvalidArgument);
  EXPECT_EQ(LumaOfGrey(*converter, 16.0F), 235U);
  ASSERT_TRUE(converter->SetTone(4.0F, 1.0F).ok());
  EXPECT_EQ(LumaOfGrey(*converter, 4.0F), 235U);

  // Content drawn in SDR is not rolled off below its white.
  ASSERT_TRUE(converter->SetTone(1.0F, 4.0F).ok());
  const uint32_t rolled = LumaOfGrey(*converter, 0.95F);
  converter->SetDrawnClass(DrawnClass::Sdr8Bit);
  EXPECT_GT(LumaOfGrey(*converter, 0.95F), rolled);
}

// PQ writes light as it is: 203 nits are code 64 + 876 x 0.5807, whatever the tone.
TEST(Converter, WritesPqWithoutTone) {
  ConverterSettings settings = Base();
  settings.hdr_input = settings.hdr10 = settings.ten_bit = true;
  const auto converter = Make(settings);
  for (const float white : {1.0F, 3.0F}) {
    ASSERT_TRUE(converter->SetTone(white, 2.0F).ok());
    EXPECT_EQ(LumaOfGrey(*converter, 203.0F / 80), 573U << 6);
    EXPECT_EQ(LumaOfGrey(*converter, 1000.0F / 80), 723U << 6);
    EXPECT_EQ(LumaOfGrey(*converter, 10000.0F / 80), 940U << 6);
    EXPECT_EQ(LumaOfGrey(*converter, 0.0F), 64U << 6);
    EXPECT_EQ(LumaOfGrey(*converter, -1.0F), 64U << 6);
  }
}

}  // namespace
}  // namespace orventa
