// The plain arithmetic of sound in 16 bits: volume, mixing, mono, peaks. Any thread.
#pragma once

#include <algorithm>
#include <cstdint>
#include <span>

namespace orventa {

// To the nearest, halves to the even one, clamped. For magnitudes under 2^22.
inline int16_t ToSample(float value) {
  // 1.5 * 2^23: next to it a float has no room for a fraction. Unlike a call of lrintf
  // this leaves loops free to work on several samples at once.
  constexpr float kNoFractions = 12582912.0F;
  const auto whole = static_cast<int32_t>((value + kNoFractions) - kNoFractions);
  return static_cast<int16_t>(std::clamp(whole, INT16_MIN, INT16_MAX));
}

// Both of a length; `volume` is 1 for as it is. `from` and `to` may be the same.
void ScaleSamples(std::span<const int16_t> from, float volume, std::span<int16_t> to);
// Stereo: the middle of left and right in both, scaled.
void ScaleMiddle(std::span<const int16_t> from, float volume, std::span<int16_t> to);
// Clamped sums, for as many as both have.
void AddSamples(std::span<const int16_t> from, std::span<int16_t> to);
// Stereo to one channel, truncated towards zero; `mono` has half as many.
void AverageFrames(std::span<const int16_t> stereo, std::span<int16_t> mono);
// 1 is full scale.
float PeakOf(std::span<const int16_t> samples);

}  // namespace orventa
