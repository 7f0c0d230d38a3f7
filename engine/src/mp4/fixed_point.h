// Numbers of our boxes as whole numbers, and back. No float makes them overflow: what is
// below the range, or no number, becomes 0, what is above it the range's end.
#pragma once

#include <bit>
#include <cstdint>

namespace orventa {

// A fraction from 0 to 1, in `parts`, rounded to nearest.
constexpr uint32_t FractionIn(float fraction, uint32_t parts) {
  if (!(fraction > 0)) return 0;
  if (fraction >= 1) return parts;
  return static_cast<uint32_t>(static_cast<double>(fraction) * parts + 0.5);
}

constexpr uint32_t Millionths(float fraction) {
  return FractionIn(fraction, 1'000'000);
}

// The unit of chromaticities in mdcv.
inline constexpr uint32_t kChromaticityParts = 50'000;

// Nits in units of 1/10000, rounded to nearest.
constexpr uint32_t NearestTenThousandths(float nits) {
  if (!(nits > 0)) return 0;
  const double scaled = static_cast<double>(nits) * 10'000 + 0.5;
  return scaled < 4'294'967'295.0 ? static_cast<uint32_t>(scaled) : UINT32_MAX;
}

// Whole nits, truncated.
constexpr uint32_t WholeNits(float nits) {
  if (!(nits > 0)) return 0;
  return nits < 4'294'967'296.0f ? static_cast<uint32_t>(nits) : UINT32_MAX;
}

// Nits in units of 1/10000, truncated. The product stays a float: 0.005f lies
// just below 0.005, and must still become 50.
constexpr uint32_t TenThousandthNits(float nits) {
  if (!(nits > 0)) return 0;
  const float scaled = nits * 10'000.0f;
  return scaled < 4'294'967'296.0f ? static_cast<uint32_t>(scaled) : UINT32_MAX;
}

// The way back. What lies above the range becomes its end.
constexpr float FractionOf(uint32_t value, uint32_t parts) {
  return value < parts ? static_cast<float>(static_cast<double>(value) / parts) : 1.0f;
}

constexpr float OfMillionths(uint32_t value) {
  return FractionOf(value, 1'000'000);
}

// The nearest float that is truncated to `value` again, where floats are that fine.
constexpr float OfTenThousandths(uint32_t value) {
  const auto nits = static_cast<float>(value / 10'000.0);
  if (TenThousandthNits(nits) >= value) return nits;
  return std::bit_cast<float>(std::bit_cast<uint32_t>(nits) + 1);
}

}  // namespace orventa
