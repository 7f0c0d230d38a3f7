// Tone mapping scRGB pictures to 8-bit sRGB by tables with an entry a half float:
// what screenshots of HDR pictures take, where no shader is at hand. Built in a few
// milliseconds; then any thread may read.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "convert/converter.h"

namespace orventa {

class SdrTables {
 public:
  // `sdr_white` above 0, as a converter takes it.
  SdrTables(float sdr_white, float peak, DrawnClass drawn);

  // A row of RGBA half floats to BGRA bytes, alpha 255.
  void MapRow(const uint8_t* rgba, size_t width, uint8_t* bgra) const;

 private:
  uint8_t Code(float light) const;

  float sdr_white_;
  float knee_;
  std::vector<float> roll_one_;      // by the half of the brightest channel
  std::vector<uint8_t> srgb_codes_;  // by the half of a channel
};

}  // namespace orventa
