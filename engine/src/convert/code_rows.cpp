#include "convert/code_rows.h"

namespace orventa {
namespace code_rows {
namespace {

constexpr int32_t Dot(const Weights& w, int32_t b, int32_t g, int32_t r) {
  return w.b * b + w.g * g + w.r * r;
}

uint8_t LumaOf(const uint8_t* bgra) {
  return static_cast<uint8_t>((Dot(kLuma, bgra[0], bgra[1], bgra[2]) + kLumaBias) >> kLumaBits);
}

int16_t LowWeight(uint32_t pair) {
  return static_cast<int16_t>(pair & 0xFFFFU);
}
int16_t HighWeight(uint32_t pair) {
  return static_cast<int16_t>(pair >> 16);
}

uint8_t Column(const int16_t* row, const ColumnBlend& columns, size_t x) {
  int32_t sum = Half(kColumnShift);
  for (size_t at = x; at < columns.taps * columns.stride; at += columns.stride) {
    const int16_t* texels = row + columns.first[at];
    sum += texels[0] * LowWeight(columns.weights[at]) + texels[1] * HighWeight(columns.weights[at]);
  }
  return static_cast<uint8_t>(sum >> kColumnShift);
}

void Direct(const uint8_t* upper, const uint8_t* lower, size_t width, uint8_t* luma_upper,
            uint8_t* luma_lower, uint8_t* chroma) {
  DirectFrom(0, upper, lower, width, luma_upper, luma_lower, chroma);
}

void Split(const uint8_t* bgra, size_t width, int16_t* y, int16_t* cb, int16_t* cr) {
  SplitFrom(0, bgra, width, y, cb, cr);
}

void BlendRows(const int16_t* const* rows, const int16_t* weights, size_t row_count, size_t width,
               int16_t* out) {
  for (size_t x = 0; x < width; ++x) {
    int32_t sum = Half(kWeightBits);
    for (size_t i = 0; i < row_count; ++i) sum += rows[i][x] * weights[i];
    out[x] = static_cast<int16_t>(sum >> kWeightBits);
  }
}

void LumaColumns(const int16_t* y, const ColumnBlend& columns, uint8_t* luma) {
  LumaColumnsFrom(0, y, columns, luma);
}

void ChromaColumns(const int16_t* cb, const int16_t* cr, const ColumnBlend& columns,
                   uint8_t* chroma) {
  ChromaColumnsFrom(0, cb, cr, columns, chroma);
}

}  // namespace

void DirectFrom(size_t start, const uint8_t* upper, const uint8_t* lower, size_t width,
                uint8_t* luma_upper, uint8_t* luma_lower, uint8_t* chroma) {
  for (size_t x = start; x < width; x += 2) {
    const uint8_t* a = upper + 4 * x;
    const uint8_t* c = lower + 4 * x;
    luma_upper[x] = LumaOf(a);
    luma_upper[x + 1] = LumaOf(a + 4);
    luma_lower[x] = LumaOf(c);
    luma_lower[x + 1] = LumaOf(c + 4);
    const int32_t b = a[0] + a[4] + c[0] + c[4];
    const int32_t g = a[1] + a[5] + c[1] + c[5];
    const int32_t r = a[2] + a[6] + c[2] + c[6];
    chroma[x] = static_cast<uint8_t>((Dot(kCb, b, g, r) + kChromaSumBias) >> (kChromaBits + 2));
    chroma[x + 1] = static_cast<uint8_t>((Dot(kCr, b, g, r) + kChromaSumBias) >> (kChromaBits + 2));
  }
}

void SplitFrom(size_t start, const uint8_t* bgra, size_t width, int16_t* y, int16_t* cb,
               int16_t* cr) {
  for (size_t x = start; x < width; ++x) {
    const uint8_t* p = bgra + 4 * x;
    y[x] = static_cast<int16_t>((Dot(kLuma, p[0], p[1], p[2]) + kLumaPlaneBias) >> kLumaPlaneShift);
    cb[x] =
        static_cast<int16_t>((Dot(kCb, p[0], p[1], p[2]) + kChromaPlaneBias) >> kChromaPlaneShift);
    cr[x] =
        static_cast<int16_t>((Dot(kCr, p[0], p[1], p[2]) + kChromaPlaneBias) >> kChromaPlaneShift);
  }
}

void LumaColumnsFrom(size_t start, const int16_t* y, const ColumnBlend& columns, uint8_t* luma) {
  for (size_t x = start; x < columns.count; ++x) luma[x] = Column(y, columns, x);
}

void ChromaColumnsFrom(size_t start, const int16_t* cb, const int16_t* cr,
                       const ColumnBlend& columns, uint8_t* chroma) {
  for (size_t x = start; x < columns.count; ++x) {
    chroma[2 * x] = Column(cb, columns, x);
    chroma[2 * x + 1] = Column(cr, columns, x);
  }
}

const CodeRowKernels& Portable() {
  static constexpr CodeRowKernels kKernels = {Direct, Split, BlendRows, LumaColumns, ChromaColumns};
  return kKernels;
}

}  // namespace code_rows

const CodeRowKernels& CodeRowsFor(Instructions instructions) {
  return instructions == Instructions::Avx2 ? code_rows::Avx2() : code_rows::Portable();
}

}  // namespace orventa
