// The fast ways against the reference, and the ways of different instructions
// against each other.
#include <gtest/gtest.h>

#include <cstdlib>

#include "compare.h"
#include "convert/memory_converter.h"
#include "convert/reference.h"
#include "pictures.h"

namespace orventa {
namespace {

using test::Compare;
using test::Difference;

std::vector<Instructions> Available() {
  std::vector<Instructions> sets = {Instructions::Portable};
  if (BestInstructions() != Instructions::Portable) sets.push_back(BestInstructions());
  return sets;
}

std::shared_ptr<const MemoryPicture> Converted(const ConverterSettings& settings,
                                               Instructions instructions, DrawnClass drawn,
                                               const PictureRef& input, PictureRef& keep) {
  std::unique_ptr<IFrameConverter> converter;
  Status status = MakeMemoryConverterFor(instructions, settings, converter);
  EXPECT_TRUE(status.ok()) << status.ToString();
  converter->SetDrawnClass(drawn);
  status = converter->Convert(input, keep);
  EXPECT_TRUE(status.ok()) << status.ToString();
  return {keep, keep->InMemory()};
}

ConverterSettings Settings(const MemoryPicture& input, uint32_t width, uint32_t height) {
  return test::SettingsFor(input.width(), input.height(), width, height);
}

// At most one code from the reference in at most `share` of the places; and all
// instruction sets alike to the byte where they reckon in integers.
void Hold(const ConverterSettings& settings, const std::shared_ptr<MemoryPicture>& input,
          double share, DrawnClass drawn = DrawnClass::HdrOrUnknown) {
  SCOPED_TRACE(testing::Message() << input->width() << "x" << input->height() << " to "
                                  << settings.width << "x" << settings.height << " hdr "
                                  << settings.hdr_input << settings.hdr10 << " ten "
                                  << settings.ten_bit << " class " << static_cast<int>(drawn));
  std::shared_ptr<const MemoryPicture> reference;
  ASSERT_TRUE(ReferenceConvert(settings, drawn, *input, reference).ok());
  std::shared_ptr<const MemoryPicture> first;
  for (const Instructions instructions : Available()) {
    PictureRef keep;
    const auto out = Converted(settings, instructions, drawn, input, keep);
    const Difference from_reference = Compare(*out, *reference);
    EXPECT_LE(from_reference.most, 1U);
    EXPECT_LE(static_cast<double>(from_reference.different),
              share * static_cast<double>(from_reference.codes) + 2);
    if (first == nullptr) first = out;
    if (input->format() == PixelFormat::Bgra8 && !settings.ten_bit) {
      EXPECT_EQ(Compare(*out, *first).different, 0U);
    }
  }
}

TEST(Twin, CodesAtEverySizeModulo32) {
  for (uint32_t width = 2; width <= 66; width += 2) {
    const auto input = test::NoiseCodes(width, 6, width, width % 5);
    Hold(Settings(*input, width, 6), input, 0.005);
  }
  for (uint32_t height = 2; height <= 34; height += 4) {
    const auto input = test::NoiseCodes(34, height, height, 3);
    Hold(Settings(*input, 34, height), input, 0.005);
  }
}

TEST(Twin, EveryCodeOfAChannelAndGreyRamps) {
  const auto input = test::Codes(512, 6, [](uint32_t x, uint32_t y) {
    const auto code = static_cast<uint8_t>(x / 2);
    const std::array<test::Code, 3> rows = {test::Code{code, code, code}, test::Code{code, 0, 255},
                                            test::Code{255, code, 0}};
    return rows[y / 2];
  });
  Hold(Settings(*input, 512, 6), input, 0.02);
}

// Greys of the 1:1 way are exact: no tint, and every code where it belongs.
TEST(Twin, GreysAreExact) {
  const auto input = test::Codes(512, 2, [](uint32_t x, uint32_t) {
    const auto code = static_cast<uint8_t>(x / 2);
    return test::Code{code, code, code};
  });
  for (const Instructions instructions : Available()) {
    PictureRef keep;
    const auto out =
        Converted(Settings(*input, 512, 2), instructions, DrawnClass::HdrOrUnknown, input, keep);
    for (uint32_t x = 0; x < 512; ++x) {
      ASSERT_EQ(test::CodeAt(*out, 0, x, 0), (2 * 219 * (x / 2) + 255) / 510 + 16) << x;
      ASSERT_EQ(test::CodeAt(*out, 1, x, 0), 128U) << x;
    }
  }
}

TEST(Twin, ScaledCodes) {
  const auto hold = [](uint32_t in_width, uint32_t in_height, uint32_t width, uint32_t height) {
    const auto input = test::NoiseCodes(in_width, in_height, in_width, 3);
    Hold(Settings(*input, width, height), input, 0.015);
  };
  const std::array<uint32_t, 4> rows[] = {
      {48, 36, 36, 26},  {64, 36, 32, 18},  {61, 35, 128, 72},  {250, 140, 62, 34},
      {100, 20, 64, 64}, {20, 100, 64, 64}, {400, 300, 16, 12}, {3, 3, 70, 70},
      {1, 1, 64, 36},    {1, 90, 30, 40},   {133, 75, 132, 74}, {257, 129, 98, 50}};
  for (const auto& row : rows) hold(row[0], row[1], row[2], row[3]);
  for (uint32_t width = 2; width <= 70; width += 2) hold(width + width / 3 + 1, 13, width, 10);
}

TEST(Twin, SourceRectangles) {
  const auto input = test::NoiseCodes(97, 61, 9, 2);
  for (const SourceRect rect :
       {SourceRect{0, 0, 64, 36}, SourceRect{33, 25, 64, 36}, SourceRect{1, 2, 96, 54},
        SourceRect{5, 7, 32, 18}, SourceRect{96, 60, 1, 1}}) {
    ConverterSettings settings = Settings(*input, 64, 36);
    settings.source_rect = rect;
    Hold(settings, input, 0.015);
  }
}

// What lies past either end of a channel's range: nothing is to wrap.
TEST(Twin, BlackAndWhiteNextToEachOther) {
  const auto input = test::Codes(90, 50, [](uint32_t x, uint32_t y) {
    const auto code = static_cast<uint8_t>((x / 3 + y / 2) % 2 * 255);
    return test::Code{code, static_cast<uint8_t>(255 - code), static_cast<uint8_t>(y * 5)};
  });
  Hold(Settings(*input, 64, 36), input, 0.015);
  Hold(Settings(*input, 200, 112), input, 0.015);
}

TEST(Twin, CodesToTenBits) {
  for (const uint32_t width : {34U, 64U, 90U}) {
    const auto input = test::NoiseCodes(67, 37, width, 3);
    ConverterSettings settings = Settings(*input, width, 36);
    settings.ten_bit = true;
    Hold(settings, input, 0.01);
  }
}

TEST(Twin, LightToEveryTarget) {
  for (const bool ten_bit : {false, true}) {
    for (const bool hdr10 : {false, true}) {
      for (const uint32_t width : {18U, 40U, 66U, 120U}) {
        const auto input = test::NoiseLight(66, 38, width, 6);
        ConverterSettings settings = Settings(*input, width, 38);
        settings.hdr_input = true;
        settings.ten_bit = ten_bit;
        settings.hdr10 = hdr10;
        settings.sdr_white = 2.5F;
        settings.peak = 4.0F;
        Hold(settings, input, 0.02);
        if (!hdr10) Hold(settings, input, 0.02, DrawnClass::Sdr10Bit);
      }
    }
  }
}

TEST(Twin, EveryHalfFloatAtOnce) {
  // Including what is no number: nothing may trap, and the ways agree on it.
  const auto input = test::Light(256, 256, [](uint32_t x, uint32_t y) {
    const auto half = static_cast<uint16_t>(y * 256 + x);
    return test::Halves{half, 0x3800, static_cast<uint16_t>(half ^ 0x5555)};
  });
  ConverterSettings settings = Settings(*input, 256, 256);
  settings.hdr_input = true;
  settings.peak = 3.0F;
  Hold(settings, input, 0.02);
  settings.hdr10 = true;
  settings.ten_bit = true;
  Hold(settings, input, 0.02);
}

}  // namespace
}  // namespace orventa
