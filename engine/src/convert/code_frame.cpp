#include "convert/code_frame.h"

#include <algorithm>
#include <cmath>
#include <span>

namespace orventa {
namespace {

constexpr size_t kLumaPlane = 0;
constexpr size_t kCbPlane = 1;
constexpr size_t kCrPlane = 2;

// Rounds weights that add up to 1 so that the rounded ones add up to kWeightOne: a
// flat picture then stays exactly as it was. The largest takes what is left over.
void RoundWeights(std::span<const double> weights, std::span<int16_t> out) {
  int left = code_rows::kWeightOne;
  size_t largest = 0;
  for (size_t i = 0; i < weights.size(); ++i) {
    out[i] = static_cast<int16_t>(std::lround(weights[i] * code_rows::kWeightOne));
    left -= out[i];
    if (out[i] > out[largest]) largest = i;
  }
  out[largest] = static_cast<int16_t>(out[largest] + left);
}

RowBlend MakeRowBlend(const AxisTaps& axis, size_t pixel) {
  RowBlend blend;
  std::array<double, RowBlend::kMost> weights{};
  const auto add = [&](int32_t row, double weight) {
    if (weight == 0) return;
    const auto wanted = static_cast<uint32_t>(row);
    size_t at = 0;
    while (at < blend.count && blend.rows[at] != wanted) ++at;
    if (at == blend.count) blend.rows[blend.count++] = wanted;
    weights[at] += weight;
  };
  for (uint32_t tap = 0; tap < axis.taps; ++tap) {
    const double fraction = axis.FractionOf(tap)[pixel];
    add(axis.FirstOf(tap)[pixel], (1.0 - fraction) / axis.taps);
    add(axis.FirstOf(tap)[pixel] + 1, fraction / axis.taps);
  }
  RoundWeights({weights.data(), blend.count}, {blend.weights.data(), blend.count});
  if (blend.count % 2 != 0) {  // a second row of no weight, so that rows come by pairs
    blend.rows[blend.count] = blend.rows[blend.count - 1];
    ++blend.count;
  }
  return blend;
}

}  // namespace

CodeFrame::CodeFrame(const Geometry& geometry, const FrameTaps& taps, Instructions instructions)
    : geometry_(geometry),
      kernels_(CodeRowsFor(instructions)),
      first_column_(taps.first_column),
      column_count_(taps.column_count),
      cache_(MostRowsAtOnce(taps) + 1) {
  direct_ = geometry.source.width == geometry.target.width &&
            geometry.source.height == geometry.target.height;
  if (direct_) return;

  row_stride_ = PaddedCount(column_count_ + 1);

  luma_rows_ = MakeRows(taps.luma_y);
  chroma_rows_ = MakeRows(taps.chroma_y);
  luma_columns_ = MakeColumns(taps.luma_x);
  chroma_columns_ = MakeColumns(taps.chroma_x);
  planes_.resize((MostRowsAtOnce(taps) + 1) * 3 * row_stride_);
  blended_.resize(2 * row_stride_);
}

std::vector<RowBlend> CodeFrame::MakeRows(const AxisTaps& axis) {
  std::vector<RowBlend> rows;
  rows.reserve(axis.count);
  for (size_t pixel = 0; pixel < axis.count; ++pixel) rows.push_back(MakeRowBlend(axis, pixel));
  return rows;
}

CodeFrame::Columns CodeFrame::MakeColumns(const AxisTaps& axis) {
  Columns columns;
  columns.first = axis.first;
  columns.weights.resize(axis.first.size());
  for (size_t pixel = 0; pixel < axis.count; ++pixel) {
    std::array<double, 2 * kMostTaps> exact{};
    std::array<int16_t, 2 * kMostTaps> rounded{};
    for (uint32_t tap = 0; tap < axis.taps; ++tap) {
      const double fraction = axis.FractionOf(tap)[pixel];
      exact[2 * tap] = (1.0 - fraction) / axis.taps;
      exact[2 * tap + 1] = fraction / axis.taps;
    }
    RoundWeights({exact.data(), 2 * axis.taps}, {rounded.data(), 2 * axis.taps});
    for (uint32_t tap = 0; tap < axis.taps; ++tap) {
      const size_t at = tap * axis.stride + pixel;
      columns.weights[at] = static_cast<uint16_t>(rounded[2 * tap]) |
                            static_cast<uint32_t>(rounded[2 * tap + 1]) << 16;
    }
  }
  columns.blend = {axis.taps, axis.count, axis.stride, columns.first.data(),
                   columns.weights.data()};
  return columns;
}

void CodeFrame::Paint(const MemoryPicture& input, const MemoryPicture& out) {
  if (direct_) {
    PaintDirect(input, out);
  } else {
    PaintScaled(input, out);
  }
}

void CodeFrame::PaintDirect(const MemoryPicture& input, const MemoryPicture& out) const {
  const SourceRect& from = geometry_.source;
  const PlacedRect& to = geometry_.target;
  const PlaneView& source = input.plane(0);
  const PlaneView& luma = out.plane(0);
  const PlaneView& chroma = out.plane(1);
  for (size_t y = 0; y < to.height; y += 2) {
    const uint8_t* upper = source.data + (from.top + y) * source.stride + size_t{from.left} * 4;
    uint8_t* luma_upper = luma.data + (to.top + y) * luma.stride + to.left;
    kernels_.direct(upper, upper + source.stride, to.width, luma_upper, luma_upper + luma.stride,
                    chroma.data + (to.top + y) / 2 * chroma.stride + to.left);
  }
}

size_t CodeFrame::SlotOf(const MemoryPicture& input, uint32_t row) {
  const RowCache::Found found = cache_.Find(row);
  if (!found.filled) {
    const PlaneView& source = input.plane(0);
    kernels_.split(source.data + row * source.stride + first_column_ * 4, column_count_,
                   Plane(found.slot, kLumaPlane), Plane(found.slot, kCbPlane),
                   Plane(found.slot, kCrPlane));
  }
  return found.slot;
}

void CodeFrame::PaintScaled(const MemoryPicture& input, const MemoryPicture& out) {
  const PlacedRect& to = geometry_.target;
  const PlaneView& luma = out.plane(0);
  const PlaneView& chroma = out.plane(1);
  cache_.Forget();

  const auto blend = [&](const RowBlend& rows, size_t plane, int16_t* blended) {
    std::array<const int16_t*, RowBlend::kMost> from{};
    for (size_t i = 0; i < rows.count; ++i) from[i] = Plane(SlotOf(input, rows.rows[i]), plane);
    kernels_.blend_rows(from.data(), rows.weights.data(), rows.count, column_count_, blended);
  };

  int16_t* first = blended_.data();
  int16_t* second = first + row_stride_;
  for (size_t pair = 0; pair < to.height / 2; ++pair) {
    for (size_t y = 2 * pair; y < 2 * pair + 2; ++y) {
      blend(luma_rows_[y], kLumaPlane, first);
      kernels_.luma_columns(first, luma_columns_.blend,
                            luma.data + (to.top + y) * luma.stride + to.left);
    }
    blend(chroma_rows_[pair], kCbPlane, first);
    blend(chroma_rows_[pair], kCrPlane, second);
    kernels_.chroma_columns(first, second, chroma_columns_.blend,
                            chroma.data + (to.top / 2 + pair) * chroma.stride + to.left);
  }
}

}  // namespace orventa
