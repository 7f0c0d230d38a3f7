// A curve over positive floats as a table that is read by the float's own bits: a
// few segments an octave, straight lines between. For processors without vector
// instructions, which would spend a frame's time on powers. Made once; read by any
// thread.
#pragma once

#include <algorithm>
#include <bit>
#include <cstdint>
#include <vector>

#include "convert/colour.h"

namespace orventa {

class CurveTable {
 public:
  // From 2^low_exponent to 1, with 2^segment_bits lines an octave.
  template <class Curve>
  CurveTable(int low_exponent, int segment_bits, Curve curve)
      : lowest_(std::bit_cast<float>(static_cast<uint32_t>(127 + low_exponent) << 23)),
        shift_(23 - segment_bits),
        base_(std::bit_cast<uint32_t>(lowest_) >> shift_) {
    const uint32_t end = std::bit_cast<uint32_t>(1.0F) >> shift_;
    values_.reserve(end - base_ + 2);
    for (uint32_t at = base_; at <= end; ++at) {
      values_.push_back(curve(std::bit_cast<float>(at << shift_)));
    }
    values_.push_back(values_.back());  // the far end of the line that starts at 1
  }

  // `x` outside is taken for the nearer end.
  float operator()(float x) const {
    const uint32_t bits = std::bit_cast<uint32_t>(std::clamp(x, lowest_, 1.0F));
    const float* line = values_.data() + ((bits >> shift_) - base_);
    const uint32_t mask = (1U << shift_) - 1;
    const float along = static_cast<float>(bits & mask) / static_cast<float>(mask + 1);
    return line[0] + (line[1] - line[0]) * along;
  }

 private:
  float lowest_;
  int shift_;
  uint32_t base_;
  std::vector<float> values_;
};

// Both curves to within a fiftieth of a 10-bit code, dark PQ to a tenth.
class TableCurves {
 public:
  static const TableCurves& Get();

  float Pq(float nits) const { return pq(nits / kPqFullScaleNits); }
  float Srgb(float light) const {
    return light <= kSrgbLinearEnd ? kSrgbLinearSlope * light : srgb(light);
  }

  const CurveTable pq;    // of light as a part of 10000 nits
  const CurveTable srgb;  // above the straight beginning

 private:
  TableCurves();
};

}  // namespace orventa
