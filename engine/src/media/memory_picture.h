// A picture whose bytes lie in memory: what Linux captures, converts and encodes,
// and what read-backs and tests use everywhere.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "media/picture.h"

namespace orventa {

// A plane's first row and the bytes from one row to the next.
struct PlaneView {
  uint8_t* data = nullptr;
  size_t stride = 0;
};

class MemoryPicture final : public Picture {
 public:
  // Owns its bytes: rows aligned to 64 bytes, all bytes zero.
  static std::shared_ptr<MemoryPicture> Allocate(PixelFormat format, uint32_t width,
                                                 uint32_t height);
  // Shows bytes that somebody else holds; `keep_alive` lives as long as the
  // picture does. Packed formats have one plane, the others two.
  MemoryPicture(PixelFormat format, uint32_t width, uint32_t height,
                std::array<PlaneView, 2> planes, std::shared_ptr<void> keep_alive);

  const MemoryPicture* InMemory() const override { return this; }

  // Plane 0: packed pixels or luma. Plane 1: interleaved chroma, half size.
  const PlaneView& plane(size_t index) const { return planes_[index]; }

 private:
  std::array<PlaneView, 2> planes_;
  std::shared_ptr<void> keep_alive_;
};

}  // namespace orventa
