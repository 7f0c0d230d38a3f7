#include "convert/geometry.h"

#include <algorithm>
#include <cmath>
#include <set>

namespace orventa {
namespace {

// `length` scaled by `numerator / denominator` to the nearest even number. Cutting
// off instead would draw bars of two pixels round every window of an odd size.
uint32_t NearestEven(uint32_t length, uint32_t numerator, uint32_t denominator) {
  const uint64_t doubled = 2 * uint64_t{denominator};
  return static_cast<uint32_t>((uint64_t{length} * numerator + denominator) / doubled * 2);
}

uint32_t CentredEven(uint32_t outer, uint32_t inner) {
  return (outer - inner) / 2 & ~1U;
}

bool Inside(uint32_t start, uint32_t length, uint32_t whole) {
  return length > 0 && start <= whole && length <= whole - start;
}

// Taps fall from left to right: the first pixel's first and the last pixel's last
// are the outermost.
void CutColumns(uint32_t width, FrameTaps& taps) {
  int32_t first = std::min(taps.luma_x.FirstOf(0)[0], taps.chroma_x.FirstOf(0)[0]);
  int32_t last = 0;
  for (const AxisTaps* axis : {&taps.luma_x, &taps.chroma_x}) {
    last = std::max(last, axis->FirstOf(axis->taps - 1)[axis->count - 1]);
  }
  for (AxisTaps* axis : {&taps.luma_x, &taps.chroma_x}) {
    for (uint32_t tap = 0; tap < axis->taps; ++tap) {
      for (size_t pixel = 0; pixel < axis->count; ++pixel) {
        axis->first[tap * axis->stride + pixel] -= first;
      }
    }
  }
  taps.first_column = static_cast<size_t>(first);
  taps.column_count = std::min<size_t>(static_cast<size_t>(last) + 2, width) - taps.first_column;
}

void AddRows(const AxisTaps& axis, size_t pixel, std::set<int32_t>& rows) {
  for (uint32_t tap = 0; tap < axis.taps; ++tap) {
    const int32_t first = axis.FirstOf(tap)[pixel];
    rows.insert(first);
    if (axis.FractionOf(tap)[pixel] > 0) rows.insert(first + 1);
  }
}

}  // namespace

PlacedRect Letterbox(uint32_t source_width, uint32_t source_height, uint32_t width,
                     uint32_t height) {
  PlacedRect rect{0, 0, width, height};
  if (source_width == 0 || source_height == 0) return rect;
  const uint64_t wide = uint64_t{source_width} * height;
  const uint64_t high = uint64_t{source_height} * width;
  if (wide > high) {
    rect.height = std::clamp(NearestEven(width, source_height, source_width), 2U, height);
    rect.top = CentredEven(height, rect.height);
  } else if (wide < high) {
    rect.width = std::clamp(NearestEven(height, source_width, source_height), 2U, width);
    rect.left = CentredEven(width, rect.width);
  }
  return rect;
}

TapCounts TapsFor(double scale) {
  const auto taps = [](double texels) {
    return static_cast<uint32_t>(std::clamp(std::ceil(texels - 1e-6), 1.0, double{kMostTaps}));
  };
  return {taps(scale * 0.5), taps(scale)};
}

Status MakeGeometry(const ConverterSettings& settings, Geometry& out) {
  if (settings.width == 0 || settings.height == 0 || settings.width % 2 != 0 ||
      settings.height % 2 != 0) {
    return {StatusCode::InvalidArgument, "NV12 requires non-zero even dimensions"};
  }
  if (settings.input_width == 0 || settings.input_height == 0) {
    return {StatusCode::InvalidArgument, "the converter's input has no pixels"};
  }
  const auto too_big = [](uint32_t length) { return length > kLargestSide; };
  if (too_big(settings.width) || too_big(settings.height) || too_big(settings.input_width) ||
      too_big(settings.input_height)) {
    return {StatusCode::InvalidArgument, "the converter takes sides of up to 16384 pixels"};
  }
  SourceRect source = settings.source_rect;
  if (source == SourceRect{}) source = {0, 0, settings.input_width, settings.input_height};
  if (!Inside(source.left, source.width, settings.input_width) ||
      !Inside(source.top, source.height, settings.input_height)) {
    return {StatusCode::InvalidArgument, "the source rectangle is not inside the input"};
  }

  out.input_width = settings.input_width;
  out.input_height = settings.input_height;
  out.source = source;
  out.target = Letterbox(source.width, source.height, settings.width, settings.height);
  const double scale = std::max(static_cast<double>(source.width) / out.target.width,
                                static_cast<double>(source.height) / out.target.height);
  const TapCounts taps = TapsFor(scale);
  out.luma_taps = taps.luma;
  out.chroma_taps = taps.chroma;
  return Status::Ok();
}

AxisTaps MakeAxis(uint32_t origin, uint32_t extent, uint32_t size, uint32_t count, uint32_t taps) {
  AxisTaps axis;
  axis.taps = taps;
  axis.count = count;
  axis.stride = PaddedCount(count);
  axis.first.resize(axis.stride * taps);
  axis.fraction.resize(axis.stride * taps);
  axis.direct = taps == 1;
  const double last = size - 1;
  for (uint32_t tap = 0; tap < taps; ++tap) {
    for (uint32_t pixel = 0; pixel < count; ++pixel) {
      const double position =
          std::clamp(TapPosition(origin, extent, count, pixel, tap, taps), 0.0, last);
      const double first = std::floor(position);
      const size_t at = tap * axis.stride + pixel;
      axis.first[at] = static_cast<int32_t>(first);
      axis.fraction[at] = static_cast<float>(position - first);
      axis.direct = axis.direct && axis.fraction[at] == 0.0F &&
                    axis.first[at] == axis.first[0] + static_cast<int32_t>(pixel);
    }
  }
  return axis;
}

FrameTaps MakeFrameTaps(const Geometry& g) {
  const auto across = [&g](uint32_t count, uint32_t taps) {
    return MakeAxis(g.source.left, g.source.width, g.input_width, count, taps);
  };
  const auto down = [&g](uint32_t count, uint32_t taps) {
    return MakeAxis(g.source.top, g.source.height, g.input_height, count, taps);
  };
  FrameTaps taps;
  taps.luma_x = across(g.target.width, g.luma_taps);
  taps.luma_y = down(g.target.height, g.luma_taps);
  taps.chroma_x = across(g.target.width / 2, g.chroma_taps);
  taps.chroma_y = down(g.target.height / 2, g.chroma_taps);
  CutColumns(g.input_width, taps);
  return taps;
}

size_t MostRowsAtOnce(const FrameTaps& taps) {
  size_t most = 0;
  for (size_t pair = 0; pair < taps.chroma_y.count; ++pair) {
    std::set<int32_t> rows;
    AddRows(taps.luma_y, 2 * pair, rows);
    AddRows(taps.luma_y, 2 * pair + 1, rows);
    AddRows(taps.chroma_y, pair, rows);
    most = std::max(most, rows.size());
  }
  return most;
}

Tone MakeTone(float sdr_white, float peak, DrawnClass drawn) {
  Tone tone;
  tone.sdr_white = sdr_white;
  tone.peak = peak;
  switch (drawn) {
    case DrawnClass::HdrOrUnknown: tone.knee = 0.8F; break;
    case DrawnClass::Sdr8Bit: tone.snap = 255.0F; break;
    case DrawnClass::Sdr10Bit: tone.snap = 1023.0F; break;
  }
  return tone;
}

Tone MakeTone(float sdr_white, float peak, DrawnClass drawn, const Geometry& g) {
  Tone tone = MakeTone(sdr_white, peak, drawn);
  const auto width = static_cast<float>(g.input_width);
  const auto height = static_cast<float>(g.input_height);
  tone.uv_origin = {static_cast<float>(g.source.left) / width,
                    static_cast<float>(g.source.top) / height};
  tone.uv_scale = {static_cast<float>(g.source.width) / width,
                   static_cast<float>(g.source.height) / height};
  tone.footprint = {tone.uv_scale[0] / static_cast<float>(g.target.width),
                    tone.uv_scale[1] / static_cast<float>(g.target.height)};
  return tone;
}

}  // namespace orventa
