// What the shaders are run on, wherever they run, and what must come out: every set of
// defines, on gradients, noise and light, against the conversion in memory.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "compare.h"
#include "convert/converter.h"
#include "convert/reference.h"
#include "pictures.h"

namespace orventa::test {

struct ShaderCase {
  std::string name;
  ConverterSettings settings;
  DrawnClass drawn = DrawnClass::HdrOrUnknown;
  std::shared_ptr<MemoryPicture> input;
};

constexpr uint32_t kCaseWidth = 96;
constexpr uint32_t kCaseHeight = 48;

inline std::shared_ptr<MemoryPicture> GradientCodes() {
  return Codes(kCaseWidth, kCaseHeight, [](uint32_t x, uint32_t y) {
    return Code{static_cast<uint8_t>(x * 255 / 95), static_cast<uint8_t>(y * 255 / 47),
                static_cast<uint8_t>(255 - x)};
  });
}

// From black to 10000 nits in steps, channels apart, some of it outside BT.709.
inline std::shared_ptr<MemoryPicture> GradientLight() {
  return Light(kCaseWidth, kCaseHeight, [](uint32_t x, uint32_t y) {
    const float level = std::exp2(static_cast<float>(x) / 95.0F * 17.0F - 10.0F);
    return ToHalves({level, level * static_cast<float>(y) / 47.0F, -0.05F * level});
  });
}

inline std::shared_ptr<MemoryPicture> ComposedLight(float white, uint32_t codes) {
  return Light(kCaseWidth, kCaseHeight, [=](uint32_t x, uint32_t y) {
    const auto channel = [=](uint32_t step) {
      return ComposedGrey((x * step + y * 5) % codes, codes, white);
    };
    return Halves{channel(3), channel(11), channel(29)};
  });
}

// From 96 pixels a row to those widths: from 1 to 4 taps for luma and for chroma.
inline std::vector<ShaderCase> ShaderCases(const std::vector<uint32_t>& widths) {
  std::vector<ShaderCase> cases;
  const auto add = [&](std::string name, bool ten_bit, bool hdr10,
                       std::shared_ptr<MemoryPicture> input, uint32_t width, uint32_t height,
                       DrawnClass drawn = DrawnClass::HdrOrUnknown) -> ShaderCase& {
    ConverterSettings settings = SettingsFor(input->width(), input->height(), width, height);
    settings.hdr_input = input->format() == PixelFormat::RgbaHalf;
    settings.ten_bit = ten_bit;
    settings.hdr10 = hdr10;
    settings.sdr_white = 2.5F;
    settings.peak = 4.0F;
    name += ten_bit ? " 10 bits " : " 8 bits ";
    name += hdr10 ? "PQ " : "SDR ";
    name += std::to_string(width) + "x" + std::to_string(height);
    cases.push_back({name, settings, drawn, std::move(input)});
    return cases.back();
  };
  for (const bool ten_bit : {false, true}) {
    for (const uint32_t width : widths) {
      const uint32_t height = width / 2;
      add("noise", ten_bit, false, NoiseCodes(kCaseWidth, kCaseHeight, width), width, height);
      // Between pixels of 5000 nits and of none, PQ shows the last bit of a position.
      const auto light =
          width > kCaseWidth ? GradientLight() : NoiseLight(kCaseWidth, kCaseHeight, width);
      for (const bool hdr10 : {false, true}) add("light", ten_bit, hdr10, light, width, height);
    }
    add("gradient", ten_bit, false, GradientCodes(), 96, 48);
    add("gradient with bars", ten_bit, false, GradientCodes(), 64, 64);
    add("light with bars", ten_bit, true, GradientLight(), 130, 40);
    for (const bool hdr10 : {false, true}) {
      add("gradient of light", ten_bit, hdr10, GradientLight(), 96, 48);
    }
    add("part", ten_bit, false, GradientCodes(), 40, 30).settings.source_rect = {17, 9, 40, 30};
    add("drawn in 8 bits", ten_bit, false, ComposedLight(2.5F, 256), 96, 48, DrawnClass::Sdr8Bit);
    add("drawn in 10 bits", ten_bit, false, ComposedLight(2.5F, 1024), 96, 48,
        DrawnClass::Sdr10Bit);
  }
  return cases;
}

// At most a code apart in 8 bits, two in 10.
inline void HoldAgainstTwin(const ShaderCase& row, const MemoryPicture& out) {
  std::shared_ptr<const MemoryPicture> twin;
  const Status status = ReferenceConvert(row.settings, row.drawn, *row.input, twin);
  ASSERT_TRUE(status.ok()) << status.ToString();
  const Difference difference = Compare(out, *twin);
  EXPECT_LE(difference.most, row.settings.ten_bit ? 2U : 1U)
      << row.name << ": " << difference.different << " of " << difference.codes << " differ";
}

}  // namespace orventa::test
