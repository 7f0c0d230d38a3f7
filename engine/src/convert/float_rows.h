// Rows of scRGB half floats, and of codes that go to 10 bits, in floats: the inner
// loops of FloatFrame. The arithmetic is that of colour.h with curves that are quicker
// and within a fiftieth of a 10-bit code. Any thread; no state.
#pragma once

#include <cstddef>
#include <cstdint>

#include "base/instructions.h"
#include "convert/colour.h"
#include "convert/geometry.h"

namespace orventa {

// What happens to a tap once it is fetched.
enum class Shade { Codes, Hdr10, Sdr };

// A row of each channel, with room up to PaddedCount of its width plus one.
struct RowPlanes {
  float* r = nullptr;
  float* g = nullptr;
  float* b = nullptr;
};

// One tap of every pixel of a row.
struct TapColumns {
  const int32_t* first = nullptr;
  const float* fraction = nullptr;
  size_t count = 0;
  bool direct = false;  // read texel after texel from first[0]
};

struct FloatRowKernels {
  void (*load_codes)(const uint8_t* bgra, size_t width, RowPlanes out);
  // Not-a-number becomes 0, infinity the largest half.
  void (*load_halves)(const uint8_t* rgba, size_t width, RowPlanes out);
  void (*blend)(const float* a, const float* b, float fraction, size_t width, float* out);
  // Fetches, shades and adds to `sums`.
  void (*add_tap)(RowPlanes row, const TapColumns& columns, Shade shade, const Tone& tone,
                  RowPlanes sums);
  // `sums` times `scale` to codes: bytes, or words when `ten_bit`.
  void (*write_luma)(RowPlanes sums, float scale, size_t count, Primaries primaries, bool ten_bit,
                     uint8_t* out);
  void (*write_chroma)(RowPlanes sums, float scale, size_t count, Primaries primaries, bool ten_bit,
                       uint8_t* out);
};

const FloatRowKernels& FloatRowsFor(Instructions instructions);

namespace float_rows {

const FloatRowKernels& Portable();
const FloatRowKernels& Avx2();  // the portable ones where there is no AVX2 to build for

// The tails of wider kernels, from `start` on.
void LoadCodesFrom(size_t start, const uint8_t* bgra, size_t width, RowPlanes out);
void LoadHalvesFrom(size_t start, const uint8_t* rgba, size_t width, RowPlanes out);
void WriteLumaFrom(size_t start, RowPlanes sums, float scale, size_t count, Primaries primaries,
                   bool ten_bit, uint8_t* out);
void WriteChromaFrom(size_t start, RowPlanes sums, float scale, size_t count, Primaries primaries,
                     bool ten_bit, uint8_t* out);

}  // namespace float_rows
}  // namespace orventa
