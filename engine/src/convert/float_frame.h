// Frames whose taps are shaded before they are averaged: scRGB half floats, tone
// mapped or to PQ, and codes that go to 10 bits. In floats; all scratch memory is
// made with the painter. One thread at a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "convert/float_rows.h"
#include "convert/geometry.h"
#include "convert/row_cache.h"
#include "media/memory_picture.h"

namespace orventa {

class FloatFrame {
 public:
  FloatFrame(const Geometry& geometry, FrameTaps taps, Shade shade, Instructions instructions);

  // Draws inside the target rectangle of `out` only. `input` is RgbaHalf, or Bgra8
  // when the shade is that of codes; `out` NV12 or P010.
  void Paint(const MemoryPicture& input, const Tone& tone, const MemoryPicture& out);

 private:
  size_t SlotOf(const MemoryPicture& input, uint32_t row);
  RowPlanes SlotPlanes(size_t slot) { return PlanesAt(rows_.data() + 3 * slot * row_stride_); }
  RowPlanes PlanesAt(float* start) const {
    return {start, start + row_stride_, start + 2 * row_stride_};
  }
  // The source rows under one tap of an output row as one row.
  RowPlanes RowAt(const MemoryPicture& input, const AxisTaps& axis, uint32_t tap, size_t y);
  void Sum(const MemoryPicture& input, const Tone& tone, const AxisTaps& across,
           const AxisTaps& down, size_t y);

  Geometry geometry_;
  FrameTaps taps_;
  Shade shade_;
  const FloatRowKernels& kernels_;
  size_t row_stride_;
  RowCache cache_;
  std::vector<float> rows_;     // r, g, b of each slot
  std::vector<float> blended_;  // r, g, b
  std::vector<float> sums_;     // r, g, b
};

}  // namespace orventa
