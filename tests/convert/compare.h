// How far apart two converted pictures are.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "media/memory_picture.h"
#include "pictures.h"

namespace orventa::test {

struct Difference {
  uint32_t most = 0;  // codes
  size_t codes = 0;
  size_t different = 0;
};

inline Difference Compare(const MemoryPicture& a, const MemoryPicture& b) {
  Difference found;
  const uint32_t unit = a.format() == PixelFormat::P010 ? 64 : 1;
  for (size_t plane = 0; plane < 2; ++plane) {
    for (size_t y = 0; y < a.height() / (plane + 1); ++y) {
      for (size_t x = 0; x < a.width(); ++x) {
        const uint32_t m = CodeAt(a, plane, x, y);
        const uint32_t n = CodeAt(b, plane, x, y);
        const uint32_t apart = (std::max(m, n) - std::min(m, n)) / unit;
        found.most = std::max(found.most, apart);
        ++found.codes;
        if (m != n) ++found.different;
      }
    }
  }
  return found;
}

}  // namespace orventa::test
