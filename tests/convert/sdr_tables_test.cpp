#include "convert/sdr_tables.h"

#include <gtest/gtest.h>

#include "convert/geometry.h"
#include "pictures.h"

namespace orventa {
namespace {

std::vector<uint8_t> Mapped(const MemoryPicture& light, float white, float peak, DrawnClass drawn) {
  std::vector<uint8_t> bgra(size_t{light.width()} * 4);
  SdrTables(white, peak, drawn).MapRow(light.plane(0).data, light.width(), bgra.data());
  return bgra;
}

TEST(SdrTables, FollowTheCurvesToOneCode) {
  const float white = 2.5F;
  const float peak = 4.8F;
  const auto light = test::NoiseLight(4096, 1, 5);
  const std::vector<uint8_t> bgra = Mapped(*light, white, peak, DrawnClass::HdrOrUnknown);
  const Tone tone = MakeTone(white, peak, DrawnClass::HdrOrUnknown);
  for (uint32_t x = 0; x < light->width(); ++x) {
    std::array<uint16_t, 4> halves{};
    std::memcpy(halves.data(), light->plane(0).data + size_t{x} * 8, sizeof(halves));
    const Rgb c =
        ScrgbToSdr({HalfToFloat(halves[0]), HalfToFloat(halves[1]), HalfToFloat(halves[2])}, tone);
    const uint8_t* p = bgra.data() + size_t{x} * 4;
    ASSERT_NEAR(p[0], c.b * 255, 0.75) << x;
    ASSERT_NEAR(p[1], c.g * 255, 0.75) << x;
    ASSERT_NEAR(p[2], c.r * 255, 0.75) << x;
    ASSERT_EQ(p[3], 255);
  }
}

TEST(SdrTables, GiveDrawnCodesBack) {
  for (const float white : {1.0F, 1.7F, 2.5F, 6.0F}) {
    const auto light = test::Light(256, 1, [white](uint32_t code, uint32_t) {
      const uint16_t half = test::ComposedGrey(code, 256, white);
      return test::Halves{half, half, half};
    });
    const std::vector<uint8_t> bgra = Mapped(*light, white, 3.0F, DrawnClass::Sdr8Bit);
    for (size_t code = 0; code < 256; ++code) ASSERT_EQ(bgra[4 * code + 1], code) << white;
  }
}

}  // namespace
}  // namespace orventa
