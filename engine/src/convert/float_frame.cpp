#include "convert/float_frame.h"

#include <algorithm>
#include <utility>

namespace orventa {

FloatFrame::FloatFrame(const Geometry& geometry, FrameTaps taps, Shade shade,
                       Instructions instructions)
    : geometry_(geometry),
      taps_(std::move(taps)),
      shade_(shade),
      kernels_(FloatRowsFor(instructions)),
      row_stride_(PaddedCount(std::max<size_t>(taps_.column_count, geometry.target.width)) +
                  kRowPadding),
      cache_(MostRowsAtOnce(taps_) + 1),
      rows_((MostRowsAtOnce(taps_) + 1) * 3 * row_stride_),
      blended_(3 * row_stride_),
      sums_(3 * row_stride_) {}

size_t FloatFrame::SlotOf(const MemoryPicture& input, uint32_t row) {
  const RowCache::Found found = cache_.Find(row);
  if (!found.filled) {
    const uint8_t* start = input.plane(0).data + row * input.plane(0).stride;
    const RowPlanes planes = SlotPlanes(found.slot);
    if (input.format() == PixelFormat::RgbaHalf) {
      kernels_.load_halves(start + 8 * taps_.first_column, taps_.column_count, planes);
    } else {
      kernels_.load_codes(start + 4 * taps_.first_column, taps_.column_count, planes);
    }
  }
  return found.slot;
}

RowPlanes FloatFrame::RowAt(const MemoryPicture& input, const AxisTaps& axis, uint32_t tap,
                            size_t y) {
  const auto first = static_cast<uint32_t>(axis.FirstOf(tap)[y]);
  const float fraction = axis.FractionOf(tap)[y];
  const RowPlanes upper = SlotPlanes(SlotOf(input, first));
  if (fraction == 0.0F) return upper;
  const RowPlanes lower = SlotPlanes(SlotOf(input, first + 1));
  const RowPlanes out = PlanesAt(blended_.data());
  kernels_.blend(upper.r, lower.r, fraction, taps_.column_count, out.r);
  kernels_.blend(upper.g, lower.g, fraction, taps_.column_count, out.g);
  kernels_.blend(upper.b, lower.b, fraction, taps_.column_count, out.b);
  return out;
}

void FloatFrame::Sum(const MemoryPicture& input, const Tone& tone, const AxisTaps& across,
                     const AxisTaps& down, size_t y) {
  std::fill(sums_.begin(), sums_.end(), 0.0F);
  for (uint32_t tap_y = 0; tap_y < down.taps; ++tap_y) {
    const RowPlanes row = RowAt(input, down, tap_y, y);
    for (uint32_t tap_x = 0; tap_x < across.taps; ++tap_x) {
      const TapColumns columns = {across.FirstOf(tap_x), across.FractionOf(tap_x), across.count,
                                  across.direct};
      kernels_.add_tap(row, columns, shade_, tone, PlanesAt(sums_.data()));
    }
  }
}

void FloatFrame::Paint(const MemoryPicture& input, const Tone& tone, const MemoryPicture& out) {
  const PlacedRect& to = geometry_.target;
  const bool ten_bit = out.format() == PixelFormat::P010;
  const size_t word = ten_bit ? 2 : 1;
  const Primaries primaries = shade_ == Shade::Hdr10 ? Primaries::Bt2020 : Primaries::Bt709;
  const float luma_scale = 1.0F / static_cast<float>(geometry_.luma_taps * geometry_.luma_taps);
  const float chroma_scale =
      1.0F / static_cast<float>(geometry_.chroma_taps * geometry_.chroma_taps);
  const PlaneView& luma = out.plane(0);
  const PlaneView& chroma = out.plane(1);
  const RowPlanes sums = PlanesAt(sums_.data());
  cache_.Forget();

  for (size_t pair = 0; pair < to.height / 2; ++pair) {
    for (size_t y = 2 * pair; y < 2 * pair + 2; ++y) {
      Sum(input, tone, taps_.luma_x, taps_.luma_y, y);
      kernels_.write_luma(sums, luma_scale, to.width, primaries, ten_bit,
                          luma.data + (to.top + y) * luma.stride + to.left * word);
    }
    Sum(input, tone, taps_.chroma_x, taps_.chroma_y, pair);
    kernels_.write_chroma(sums, chroma_scale, to.width / 2, primaries, ten_bit,
                          chroma.data + (to.top / 2 + pair) * chroma.stride + to.left * word);
  }
}

}  // namespace orventa
