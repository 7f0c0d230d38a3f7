// Sound at any position between its samples: 32 taps a frame out of a table of 257
// phases, blended between the two nearest. The inner loop of SoundClock; a table is
// read by one thread at a time.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "base/instructions.h"

namespace orventa {

inline constexpr size_t kResampleTaps = 32;
// Taps before the frame at which a position stands, and the ones after it.
inline constexpr size_t kTapsBefore = 15;
inline constexpr size_t kTapsAfter = kResampleTaps - 1 - kTapsBefore;
inline constexpr size_t kResamplePhases = 256;

// A row's taps lie as two interleaves of a vector of eight give them back in order:
// the middle two pairs of each eight are swapped.
struct alignas(64) ResampleRow {
  std::array<float, kResampleTaps> taps{};
};
constexpr size_t SlotOfTap(size_t tap) {
  const size_t pair = tap % 8 / 2;
  return pair == 1 ? tap + 2 : pair == 2 ? tap - 2 : tap;
}

class ResampleTable {
 public:
  // Rates in Hz. Takes a good half millisecond.
  ResampleTable(uint32_t input_rate, uint32_t output_rate);
  // kResamplePhases + 1 of them.
  const ResampleRow* rows() const { return rows_.data(); }

 private:
  std::vector<ResampleRow> rows_;
};

struct ResampleRun {
  const ResampleRow* rows = nullptr;
  const float* frames = nullptr;  // stereo, interleaved
  size_t frame_count = 0;
  double position = 0;  // of the next output frame, counted from `frames`; moves on
  double step = 1;
};
// Writes up to `most` stereo frames of 16 bits, as long as all taps lie inside
// `frames`, and returns how many.
using Resampler = size_t (*)(ResampleRun& run, size_t most, int16_t* out);

Resampler ResamplerFor(Instructions instructions);

namespace resample {

size_t Portable(ResampleRun& run, size_t most, int16_t* out);
// The portable one where there is no AVX2 to build for.
size_t Avx2(ResampleRun& run, size_t most, int16_t* out);

}  // namespace resample
}  // namespace orventa
