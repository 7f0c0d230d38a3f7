// Reading a channel of an scRGB picture. Any thread.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>

#include "convert/half.h"

namespace orventa {

// A game may write anything: not-a-number counts as 0 and infinity as the largest
// half, so that one bad pixel cannot spread through the filter.
inline float SanitisedHalf(uint16_t half) {
  const float value = HalfToFloat(half);
  if (std::isnan(value)) return 0;
  return std::clamp(value, -kLargestHalf, kLargestHalf);
}

inline uint16_t ReadHalf(const uint8_t* from) {
  uint16_t half = 0;
  std::memcpy(&half, from, sizeof(half));
  return half;
}

}  // namespace orventa
