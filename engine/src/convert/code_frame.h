// Frames of 8-bit BGRA codes to NV12, in fixed point. All scratch memory is made
// with the painter. One thread at a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "convert/code_rows.h"
#include "convert/geometry.h"
#include "convert/row_cache.h"
#include "media/memory_picture.h"

namespace orventa {

class CodeFrame {
 public:
  CodeFrame(const Geometry& geometry, const FrameTaps& taps, Instructions instructions);

  // Draws inside the target rectangle of `out` only.
  void Paint(const MemoryPicture& input, const MemoryPicture& out);

 private:
  struct Columns {
    std::vector<int32_t> first;
    std::vector<uint32_t> weights;
    ColumnBlend blend;
  };

  static std::vector<RowBlend> MakeRows(const AxisTaps& axis);
  static Columns MakeColumns(const AxisTaps& axis);

  void PaintDirect(const MemoryPicture& input, const MemoryPicture& out) const;
  void PaintScaled(const MemoryPicture& input, const MemoryPicture& out);
  size_t SlotOf(const MemoryPicture& input, uint32_t row);
  int16_t* Plane(size_t slot, size_t plane) {
    return planes_.data() + (3 * slot + plane) * row_stride_;
  }

  Geometry geometry_;
  const CodeRowKernels& kernels_;
  bool direct_ = false;

  size_t first_column_ = 0;
  size_t column_count_ = 0;
  size_t row_stride_ = 0;
  std::vector<RowBlend> luma_rows_;
  std::vector<RowBlend> chroma_rows_;
  Columns luma_columns_;
  Columns chroma_columns_;

  RowCache cache_;
  std::vector<int16_t> planes_;   // y, cb, cr of each slot
  std::vector<int16_t> blended_;  // two rows
};

}  // namespace orventa
