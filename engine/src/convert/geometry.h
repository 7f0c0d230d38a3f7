// Where the pixels of the output come from: the rectangle drawn into, how many
// taps the box filter takes, and which texels every tap reads. Pure functions,
// run when a converter is made.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "base/status.h"
#include "convert/colour.h"
#include "convert/converter.h"

namespace orventa {

constexpr uint32_t kMostTaps = 4;
// As Direct3D 11 has it for textures. Keeps every index inside 32 bits.
constexpr uint32_t kLargestSide = 16384;

struct Geometry {
  uint32_t input_width = 0;
  uint32_t input_height = 0;
  SourceRect source;  // never empty
  PlacedRect target;
  uint32_t luma_taps = 1;  // an axis
  uint32_t chroma_taps = 1;
};

// InvalidArgument for sizes that no frame has and rectangles outside the input.
Status MakeGeometry(const ConverterSettings& settings, Geometry& out);

struct TapCounts {
  uint32_t luma = 1;
  uint32_t chroma = 1;
};
// A bilinear tap already averages two texels an axis, hence the half.
TapCounts TapsFor(double scale);

// Where the tap falls, in texels: 0 is the middle of the first. `pixel` of `count`
// output pixels, which span `extent` texels from `origin`.
inline double TapPosition(uint32_t origin, uint32_t extent, uint32_t count, uint32_t pixel,
                          uint32_t tap, uint32_t taps) {
  const double offset = (static_cast<double>(tap) + 0.5) / static_cast<double>(taps);
  return origin + (pixel + offset) * (static_cast<double>(extent) / count) - 0.5;
}

// All taps of one axis. Bilinear: `first` and the texel after it, the latter with
// the weight `fraction`, which is 0 where `first` is the last texel.
struct AxisTaps {
  uint32_t taps = 1;
  size_t count = 0;   // output pixels
  size_t stride = 0;  // entries from one tap to the next: count rounded up
  std::vector<int32_t> first;
  std::vector<float> fraction;
  bool direct = false;  // one tap a pixel, texel after texel, fractions all 0

  const int32_t* FirstOf(uint32_t tap) const { return first.data() + tap * stride; }
  const float* FractionOf(uint32_t tap) const { return fraction.data() + tap * stride; }
};

// Vector code may read and write rows up to the next multiple of this.
constexpr size_t kRowPadding = 32;
constexpr size_t PaddedCount(size_t count) {
  return (count + kRowPadding - 1) / kRowPadding * kRowPadding;
}

AxisTaps MakeAxis(uint32_t origin, uint32_t extent, uint32_t size, uint32_t count, uint32_t taps);

// Columns count from `first_column`: only those that any tap reads are decoded.
struct FrameTaps {
  size_t first_column = 0;
  size_t column_count = 0;
  AxisTaps luma_x;
  AxisTaps luma_y;
  AxisTaps chroma_x;
  AxisTaps chroma_y;
};
FrameTaps MakeFrameTaps(const Geometry& geometry);

// The most source rows that two luma rows and their chroma row read together.
size_t MostRowsAtOnce(const FrameTaps& taps);

// The tone of a class of content; the second with the geometry as the shaders want it.
Tone MakeTone(float sdr_white, float peak, DrawnClass drawn);
Tone MakeTone(float sdr_white, float peak, DrawnClass drawn, const Geometry& geometry);

}  // namespace orventa
