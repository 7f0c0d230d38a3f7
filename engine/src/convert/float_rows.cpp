#include "convert/float_rows.h"

#include <cstring>

#include "convert/curve_table.h"
#include "convert/half_pixels.h"

namespace orventa {

// PQ below 2^-36 of full scale is less than a tenth of a 10-bit code.
TableCurves::TableCurves()
    : pq(-36, 6, [](float y) { return LinearToPq(y * kPqFullScaleNits); }),
      srgb(-9, 8, [](float light) { return LinearToSrgb(light); }) {}

const TableCurves& TableCurves::Get() {
  static const TableCurves curves;
  return curves;
}

namespace float_rows {
namespace {

Rgb ShadeOne(Rgb c, Shade shade, const Tone& tone, const TableCurves& curves) {
  switch (shade) {
    case Shade::Codes: return c;
    case Shade::Hdr10: return ScrgbToHdr10(c, curves);
    case Shade::Sdr: return ScrgbToSdr(c, tone, curves);
  }
  return c;
}

float Lerp(float a, float b, float fraction) {
  return a + (b - a) * fraction;
}

Rgb Fetch(const RowPlanes& row, const TapColumns& columns, size_t x) {
  if (columns.direct) {
    const size_t at = static_cast<size_t>(columns.first[0]) + x;
    return {row.r[at], row.g[at], row.b[at]};
  }
  const auto at = static_cast<size_t>(columns.first[x]);
  const float fraction = columns.fraction[x];
  return {Lerp(row.r[at], row.r[at + 1], fraction), Lerp(row.g[at], row.g[at + 1], fraction),
          Lerp(row.b[at], row.b[at + 1], fraction)};
}

Rgb Scaled(const RowPlanes& sums, float scale, size_t x) {
  return {sums.r[x] * scale, sums.g[x] * scale, sums.b[x] * scale};
}

void LoadCodes(const uint8_t* bgra, size_t width, RowPlanes out) {
  LoadCodesFrom(0, bgra, width, out);
}

void LoadHalves(const uint8_t* rgba, size_t width, RowPlanes out) {
  LoadHalvesFrom(0, rgba, width, out);
}

void Blend(const float* a, const float* b, float fraction, size_t width, float* out) {
  for (size_t x = 0; x < width; ++x) out[x] = Lerp(a[x], b[x], fraction);
}

void AddTap(RowPlanes row, const TapColumns& columns, Shade shade, const Tone& tone,
            RowPlanes sums) {
  const TableCurves& curves = TableCurves::Get();
  for (size_t x = 0; x < columns.count; ++x) {
    const Rgb c = ShadeOne(Fetch(row, columns, x), shade, tone, curves);
    sums.r[x] += c.r;
    sums.g[x] += c.g;
    sums.b[x] += c.b;
  }
}

void WriteLuma(RowPlanes sums, float scale, size_t count, Primaries primaries, bool ten_bit,
               uint8_t* out) {
  WriteLumaFrom(0, sums, scale, count, primaries, ten_bit, out);
}

void WriteChroma(RowPlanes sums, float scale, size_t count, Primaries primaries, bool ten_bit,
                 uint8_t* out) {
  WriteChromaFrom(0, sums, scale, count, primaries, ten_bit, out);
}

void StoreWord(uint8_t* out, size_t index, uint16_t word) {
  std::memcpy(out + index * sizeof(word), &word, sizeof(word));
}

}  // namespace

void LoadCodesFrom(size_t start, const uint8_t* bgra, size_t width, RowPlanes out) {
  for (size_t x = start; x < width; ++x) {
    out.b[x] = static_cast<float>(bgra[4 * x]) / 255.0F;
    out.g[x] = static_cast<float>(bgra[4 * x + 1]) / 255.0F;
    out.r[x] = static_cast<float>(bgra[4 * x + 2]) / 255.0F;
  }
}

void LoadHalvesFrom(size_t start, const uint8_t* rgba, size_t width, RowPlanes out) {
  for (size_t x = start; x < width; ++x) {
    out.r[x] = SanitisedHalf(ReadHalf(rgba + 8 * x));
    out.g[x] = SanitisedHalf(ReadHalf(rgba + 8 * x + 2));
    out.b[x] = SanitisedHalf(ReadHalf(rgba + 8 * x + 4));
  }
}

void WriteLumaFrom(size_t start, RowPlanes sums, float scale, size_t count, Primaries primaries,
                   bool ten_bit, uint8_t* out) {
  for (size_t x = start; x < count; ++x) {
    const float y = Luma(Scaled(sums, scale, x), primaries);
    if (ten_bit) {
      StoreWord(out, x, QuantiseLuma10(y));
    } else {
      out[x] = QuantiseLuma8(y);
    }
  }
}

void WriteChromaFrom(size_t start, RowPlanes sums, float scale, size_t count, Primaries primaries,
                     bool ten_bit, uint8_t* out) {
  for (size_t x = start; x < count; ++x) {
    const Chroma c = ToChroma(Scaled(sums, scale, x), primaries);
    if (ten_bit) {
      StoreWord(out, 2 * x, QuantiseChroma10(c.cb));
      StoreWord(out, 2 * x + 1, QuantiseChroma10(c.cr));
    } else {
      out[2 * x] = QuantiseChroma8(c.cb);
      out[2 * x + 1] = QuantiseChroma8(c.cr);
    }
  }
}

const FloatRowKernels& Portable() {
  static constexpr FloatRowKernels kKernels = {LoadCodes, LoadHalves, Blend,
                                               AddTap,    WriteLuma,  WriteChroma};
  return kKernels;
}

}  // namespace float_rows

const FloatRowKernels& FloatRowsFor(Instructions instructions) {
  return instructions == Instructions::Avx2 ? float_rows::Avx2() : float_rows::Portable();
}

}  // namespace orventa
