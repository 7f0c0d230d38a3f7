#include "convert/sdr_tables.h"

#include <algorithm>

#include "convert/colour.h"
#include "convert/geometry.h"
#include "convert/half_pixels.h"

namespace orventa {
namespace {

constexpr size_t kHalves = 65536;

}  // namespace

SdrTables::SdrTables(float sdr_white, float peak, DrawnClass drawn)
    : sdr_white_(sdr_white), roll_one_(kHalves), srgb_codes_(kHalves) {
  const Tone tone = MakeTone(sdr_white, peak, drawn);
  knee_ = tone.knee;
  for (size_t half = 0; half < kHalves; ++half) {
    const float light = std::max(SanitisedHalf(static_cast<uint16_t>(half)), 0.0F);
    roll_one_[half] = RollOne(light, tone);
    srgb_codes_[half] = RoundCode8(255.0F * LinearToSrgb(std::min(light, 1.0F)));
  }
}

uint8_t SdrTables::Code(float light) const {
  return srgb_codes_[FloatToHalf(light)];
}

void SdrTables::MapRow(const uint8_t* rgba, size_t width, uint8_t* bgra) const {
  const auto channel = [this](const uint8_t* from) {
    return std::clamp(SanitisedHalf(ReadHalf(from)) / sdr_white_, 0.0F, kLargestHalf);
  };
  for (size_t x = 0; x < width; ++x, rgba += 8, bgra += 4) {
    Rgb c = {channel(rgba), channel(rgba + 2), channel(rgba + 4)};
    const float most = std::max({c.r, c.g, c.b});
    if (most > knee_) {
      const float factor = roll_one_[FloatToHalf(most)] / most;
      c = {c.r * factor, c.g * factor, c.b * factor};
    }
    bgra[0] = Code(c.b);
    bgra[1] = Code(c.g);
    bgra[2] = Code(c.r);
    bgra[3] = 255;
  }
}

}  // namespace orventa
