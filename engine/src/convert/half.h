// Half floats (IEEE 754 binary16) in plain integer arithmetic: what scRGB pictures
// are made of. Any thread.
#pragma once

#include <bit>
#include <cstdint>

namespace orventa {

constexpr float kLargestHalf = 65504.0F;

inline float HalfToFloat(uint16_t half) {
  const uint32_t sign = static_cast<uint32_t>(half & 0x8000U) << 16;
  const uint32_t magnitude = half & 0x7FFFU;
  if (magnitude >= 0x7C00U) {  // infinities and NaNs
    return std::bit_cast<float>(sign | 0x7F800000U | (magnitude & 0x3FFU) << 13);
  }
  if (magnitude < 0x0400U) {  // zero and subnormals: multiples of 2^-24
    const float value = static_cast<float>(magnitude) * 0x1p-24F;
    return sign != 0 ? -value : value;
  }
  return std::bit_cast<float>(sign | ((magnitude << 13) + (112U << 23)));
}

namespace half_detail {

// `round` receives the bits that are cut off and the lowest bit that stays.
template <class Round>
uint16_t Encode(float value, Round round) {
  const uint32_t bits = std::bit_cast<uint32_t>(value);
  const auto sign = static_cast<uint16_t>((bits >> 16) & 0x8000U);
  const uint32_t magnitude = bits & 0x7FFFFFFFU;
  if (magnitude > 0x7F800000U) return static_cast<uint16_t>(sign | 0x7E00U);
  if (magnitude == 0x7F800000U) return static_cast<uint16_t>(sign | 0x7C00U);

  const auto exponent = static_cast<int>(magnitude >> 23) - 112;
  if (exponent >= 31) return static_cast<uint16_t>(sign | round.overflow);
  uint32_t mantissa = magnitude & 0x7FFFFFU;
  uint32_t kept = static_cast<uint32_t>(exponent) << 10;
  int cut = 13;
  if (exponent <= 0) {
    mantissa |= 0x800000U;
    kept = 0;
    cut = 14 - exponent;
    if (cut > 24) cut = 25;  // below half of the smallest subnormal
  }
  const uint32_t rest = mantissa & ((1U << cut) - 1);
  const uint32_t half = kept + (mantissa >> cut);
  // A carry out of the mantissa runs into the exponent, which is what it should do.
  return static_cast<uint16_t>(sign | (half + round(rest, 1U << (cut - 1), half & 1U)));
}

struct NearestEven {
  uint16_t overflow = 0x7C00;
  uint32_t operator()(uint32_t rest, uint32_t middle, uint32_t lowest) const {
    return rest > middle || (rest == middle && lowest != 0) ? 1 : 0;
  }
};

struct Truncate {
  uint16_t overflow = 0x7BFF;
  uint32_t operator()(uint32_t, uint32_t, uint32_t) const { return 0; }
};

}  // namespace half_detail

inline uint16_t FloatToHalf(float value) {
  return half_detail::Encode(value, half_detail::NearestEven());
}

// Towards zero, as compositors do when they write an SDR window's light.
inline uint16_t FloatToHalfTruncated(float value) {
  return half_detail::Encode(value, half_detail::Truncate());
}

}  // namespace orventa
