// The colour arithmetic of the conversion, in floats and in the order of the pixel
// shaders, so that the two can be read side by side: tone mapping, transfer curves,
// matrices and the rounding of codes. Pure functions; any thread.
#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>

namespace orventa {

struct Rgb {
  float r = 0;
  float g = 0;
  float b = 0;
};

// The shaders' constant buffer: this order, no gaps.
struct Tone {
  float sdr_white = 1;               // scRGB value of SDR white
  float peak = 1;                    // display peak, as a multiple of SDR white
  float knee = 1;                    // below this nothing is touched
  float snap = 0;                    // content drawn in SDR: its code count less one; else 0
  std::array<float, 2> footprint{};  // one output luma pixel in source UV
  std::array<float, 2> padding{};
  std::array<float, 2> uv_origin{};
  std::array<float, 2> uv_scale{1, 1};
  std::array<float, 4> yuv_range{};
  std::array<float, 4> yuv_matrix{};
};
static_assert(sizeof(Tone) == 80);

enum class Primaries { Bt709, Bt2020 };

inline Rgb Bt709ToBt2020(Rgb c) {
  return {0.62740390F * c.r + 0.32928304F * c.g + 0.04331306F * c.b,
          0.06909729F * c.r + 0.91954040F * c.g + 0.01136232F * c.b,
          0.01639144F * c.r + 0.08801331F * c.g + 0.89559525F * c.b};
}

inline Rgb Bt2020ToBt709(Rgb c) {
  return {1.66049099F * c.r - 0.58764114F * c.g - 0.07284985F * c.b,
          -0.12455047F * c.r + 1.13289989F * c.g - 0.00834943F * c.b,
          -0.01815077F * c.r - 0.10057890F * c.g + 1.11872967F * c.b};
}

// SMPTE ST 2084.
constexpr float kPqFullScaleNits = 10000.0F;
constexpr float kPqM1 = 2610.0F / 16384.0F;
constexpr float kPqM2 = 2523.0F / 4096.0F * 128.0F;
constexpr float kPqC1 = 3424.0F / 4096.0F;
constexpr float kPqC2 = 2413.0F / 4096.0F * 32.0F;
constexpr float kPqC3 = 2392.0F / 4096.0F * 32.0F;

// 0 to 10000 nits to 0 to 1; light outside is clamped.
inline float LinearToPq(float nits) {
  const float y = std::pow(std::clamp(nits / kPqFullScaleNits, 0.0F, 1.0F), kPqM1);
  return std::pow((kPqC1 + kPqC2 * y) / (1.0F + kPqC3 * y), kPqM2);
}

inline float PqToLinear(float code) {
  const float p = std::pow(std::clamp(code, 0.0F, 1.0F), 1.0F / kPqM2);
  const float y = std::max(p - kPqC1, 0.0F) / (kPqC2 - kPqC3 * p);
  return std::pow(y, 1.0F / kPqM1) * kPqFullScaleNits;
}

constexpr float kSrgbLinearEnd = 0.0031308F;
constexpr float kSrgbLinearSlope = 12.92F;

// For light of 0 and above.
inline float LinearToSrgb(float light) {
  return light <= kSrgbLinearEnd ? kSrgbLinearSlope * light
                                 : 1.055F * std::pow(light, 1.0F / 2.4F) - 0.055F;
}

inline float SrgbToLinear(float code) {
  return code <= 0.04045F ? code / kSrgbLinearSlope : std::pow((code + 0.055F) / 1.055F, 2.4F);
}

// The brightest channel's way from `knee` to 1, which it meets at `peak`; what is
// brighter than the display stays at 1.
inline float RollOne(float v, const Tone& tone) {
  if (v <= tone.knee) return v;
  const float over = std::min((v - tone.knee) / std::max(tone.peak - tone.knee, 0.01F), 1.0F);
  return tone.knee +
         (1.0F - tone.knee) * (1.0F - std::exp(-3.0F * over)) / (1.0F - std::exp(-3.0F));
}

// Keeps the hue: all channels shrink as the brightest does.
inline Rgb RollOff(Rgb c, const Tone& tone) {
  const float most = std::max({c.r, c.g, c.b});
  if (most <= tone.knee) return c;
  const float factor = RollOne(most, tone) / most;
  return {c.r * factor, c.g * factor, c.b * factor};
}

// The curves as functions, so that the same steps serve exact ones and tables.
struct ExactCurves {
  float Pq(float nits) const { return LinearToPq(nits); }
  float Srgb(float light) const { return LinearToSrgb(light); }
};

constexpr float kScrgbUnitNits = 80.0F;

// scRGB to PQ codes of BT.2020, 0 to 1. Negatives are clamped after the rotation:
// BT.2020 holds most of what scRGB writes as negative BT.709.
template <class Curves = ExactCurves>
Rgb ScrgbToHdr10(Rgb c, const Curves& curves = {}) {
  c = Bt709ToBt2020(c);
  return {curves.Pq(std::max(c.r, 0.0F) * kScrgbUnitNits),
          curves.Pq(std::max(c.g, 0.0F) * kScrgbUnitNits),
          curves.Pq(std::max(c.b, 0.0F) * kScrgbUnitNits)};
}

inline float Snap(float code, float snap) {
  return snap > 0 ? std::nearbyint(code * snap) / snap : code;
}

// scRGB to sRGB codes, 0 to 1. The snap undoes what half floats lost of content
// drawn in SDR: the code drawn comes back as it was.
template <class Curves = ExactCurves>
Rgb ScrgbToSdr(Rgb c, const Tone& tone, const Curves& curves = {}) {
  c = RollOff({std::max(c.r / tone.sdr_white, 0.0F), std::max(c.g / tone.sdr_white, 0.0F),
               std::max(c.b / tone.sdr_white, 0.0F)},
              tone);
  return {Snap(curves.Srgb(c.r), tone.snap), Snap(curves.Srgb(c.g), tone.snap),
          Snap(curves.Srgb(c.b), tone.snap)};
}

inline float Luma(Rgb c, Primaries primaries) {
  return primaries == Primaries::Bt709 ? 0.2126F * c.r + 0.7152F * c.g + 0.0722F * c.b
                                       : 0.2627F * c.r + 0.6780F * c.g + 0.0593F * c.b;
}

struct Chroma {
  float cb = 0;  // -0.5 to 0.5
  float cr = 0;
};

inline Chroma ToChroma(Rgb c, Primaries primaries) {
  if (primaries == Primaries::Bt709) {
    return {-0.1146F * c.r - 0.3854F * c.g + 0.5F * c.b,
            0.5F * c.r - 0.4542F * c.g - 0.0458F * c.b};
  }
  const float y = Luma(c, primaries);
  return {(c.b - y) / 1.8814F, (c.r - y) / 1.4746F};
}

// Studio swing. 8 bits round as a render target does, halves up; 10-bit codes round
// as the shader's round() does, halves to even, and lie in the upper bits of a word.
constexpr float kCodesLuma8 = 219.0F;
constexpr float kCodesChroma8 = 224.0F;
constexpr float kCodesLuma10 = 876.0F;
constexpr float kCodesChroma10 = 896.0F;
constexpr uint8_t kBlackLuma8 = 16;
constexpr uint8_t kNoChroma8 = 128;
constexpr uint16_t kBlackLuma10 = 64;
constexpr uint16_t kNoChroma10 = 512;
constexpr int kP010Shift = 6;

inline uint8_t RoundCode8(float code) {
  return static_cast<uint8_t>(std::clamp(code, 0.0F, 255.0F) + 0.5F);
}
inline uint16_t RoundCode10(float code) {
  return static_cast<uint16_t>(std::nearbyint(std::clamp(code, 0.0F, 1023.0F)));
}

inline uint8_t QuantiseLuma8(float y) {
  return RoundCode8(kBlackLuma8 + kCodesLuma8 * y);
}
inline uint8_t QuantiseChroma8(float c) {
  return RoundCode8(kNoChroma8 + kCodesChroma8 * c);
}
inline uint16_t QuantiseLuma10(float y) {
  return static_cast<uint16_t>(RoundCode10(kBlackLuma10 + kCodesLuma10 * y) << kP010Shift);
}
inline uint16_t QuantiseChroma10(float c) {
  return static_cast<uint16_t>(RoundCode10(kNoChroma10 + kCodesChroma10 * c) << kP010Shift);
}

}  // namespace orventa
