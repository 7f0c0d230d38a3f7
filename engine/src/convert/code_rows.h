// Rows of 8-bit codes to NV12 in 16-bit fixed point, the inner loops of CodeFrame.
// Every set of kernels gives the very same bytes; against the float arithmetic of
// colour.h a code differs by at most one: 1:1 in one of two thousand places of noise,
// scaled in one of three hundred; greys 1:1 are exact. Any thread; no state.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "base/instructions.h"
#include "convert/colour.h"
#include "convert/geometry.h"

namespace orventa {

namespace code_rows {

// Luma of one pixel: 15 bits of fraction.
constexpr int kLumaBits = 15;
// Chroma of one pixel: 16 bits; of the sum of four, two more.
constexpr int kChromaBits = 16;
// Planes between the passes hold codes with 7 bits of fraction, all below 2^15.
constexpr int kPlaneBits = 7;
// Weights of an axis add up to exactly 1 << 14.
constexpr int kWeightBits = 14;
constexpr int16_t kWeightOne = 1 << kWeightBits;

constexpr int16_t Fixed(double value, int bits) {
  const double scaled = value * static_cast<double>(1 << bits);
  return static_cast<int16_t>(scaled < 0 ? scaled - 0.5 : scaled + 0.5);
}

struct Weights {
  int16_t b;
  int16_t g;
  int16_t r;
};
constexpr Weights kLuma = {Fixed(0.0722 * 219 / 255, kLumaBits),
                           Fixed(0.7152 * 219 / 255, kLumaBits),
                           Fixed(0.2126 * 219 / 255, kLumaBits)};
// Green takes what makes the three add up to 0: greys have no chroma.
constexpr Weights ChromaWeights(double b, double r) {
  const int16_t blue = Fixed(b * 224 / 255, kChromaBits);
  const int16_t red = Fixed(r * 224 / 255, kChromaBits);
  return {blue, static_cast<int16_t>(-(blue + red)), red};
}
constexpr Weights kCb = ChromaWeights(0.5, -0.1146);
constexpr Weights kCr = ChromaWeights(-0.0458, 0.5);

constexpr int32_t Half(int bits) {
  return 1 << (bits - 1);
}
constexpr int32_t kLumaBias = (kBlackLuma8 << kLumaBits) + Half(kLumaBits);
constexpr int32_t kChromaSumBias = (kNoChroma8 << (kChromaBits + 2)) + Half(kChromaBits + 2);
constexpr int kLumaPlaneShift = kLumaBits - kPlaneBits;
constexpr int kChromaPlaneShift = kChromaBits - kPlaneBits;
constexpr int32_t kLumaPlaneBias = (kBlackLuma8 << kLumaBits) + Half(kLumaPlaneShift);
constexpr int32_t kChromaPlaneBias = (kNoChroma8 << kChromaBits) + Half(kChromaPlaneShift);
constexpr int kColumnShift = kWeightBits + kPlaneBits;

}  // namespace code_rows

// The rows that make up one output row: a box of bilinear taps is linear in codes,
// so that all its taps fold into one weight a row. An even number of entries.
struct RowBlend {
  static constexpr size_t kMost = 2 * kMostTaps;
  size_t count = 0;
  std::array<uint32_t, kMost> rows{};
  std::array<int16_t, kMost> weights{};
};

// Pairs of neighbouring texels, `taps` an output pixel; the weights of the two lie
// in the lower and the upper half of an entry of `weights`. Entries past `count`
// up to `stride` are valid and ignored.
struct ColumnBlend {
  uint32_t taps = 1;
  size_t count = 0;
  size_t stride = 0;
  const int32_t* first = nullptr;
  const uint32_t* weights = nullptr;
};

// `out` and rows of 16-bit planes have kRowPadding entries of room past their width
// rounded up to it; bytes of pictures are never touched past the width.
struct CodeRowKernels {
  // Two rows of BGRA to two luma rows and the chroma row between. Width even.
  void (*direct)(const uint8_t* upper, const uint8_t* lower, size_t width, uint8_t* luma_upper,
                 uint8_t* luma_lower, uint8_t* chroma);
  // One row of BGRA to planes.
  void (*split)(const uint8_t* bgra, size_t width, int16_t* y, int16_t* cb, int16_t* cr);
  // Rows of planes to one.
  void (*blend_rows)(const int16_t* const* rows, const int16_t* weights, size_t row_count,
                     size_t width, int16_t* out);
  void (*luma_columns)(const int16_t* y, const ColumnBlend& columns, uint8_t* luma);
  void (*chroma_columns)(const int16_t* cb, const int16_t* cr, const ColumnBlend& columns,
                         uint8_t* chroma);
};

const CodeRowKernels& CodeRowsFor(Instructions instructions);

namespace code_rows {

const CodeRowKernels& Portable();
const CodeRowKernels& Avx2();  // the portable ones where there is no AVX2 to build for

// The tails of wider kernels, from `start` on.
void DirectFrom(size_t start, const uint8_t* upper, const uint8_t* lower, size_t width,
                uint8_t* luma_upper, uint8_t* luma_lower, uint8_t* chroma);
void SplitFrom(size_t start, const uint8_t* bgra, size_t width, int16_t* y, int16_t* cb,
               int16_t* cr);
void LumaColumnsFrom(size_t start, const int16_t* y, const ColumnBlend& columns, uint8_t* luma);
void ChromaColumnsFrom(size_t start, const int16_t* cb, const int16_t* cr,
                       const ColumnBlend& columns, uint8_t* chroma);

}  // namespace code_rows
}  // namespace orventa
