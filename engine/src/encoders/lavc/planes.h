// Pictures with interleaved chroma as the separate planes that x265 and libaom
// want. Any thread.
#pragma once

#include <cstddef>
#include <cstdint>

#include "media/memory_picture.h"

namespace orventa {

// Rows of `pairs` two-byte pairs into two planes.
void SplitChroma8(const PlaneView& chroma, uint32_t pairs, uint32_t rows, PlaneView first,
                  PlaneView second);
// The same for 16-bit words with the 10-bit code in their upper bits, which comes
// out in the lower bits.
void SplitChroma10(const PlaneView& chroma, uint32_t pairs, uint32_t rows, PlaneView first,
                   PlaneView second);
// 16-bit words with the code moved from the upper to the lower bits.
void LowerTenBits(const PlaneView& plane, uint32_t width, uint32_t rows, PlaneView out);

}  // namespace orventa
