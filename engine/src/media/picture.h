// A picture on its way from capture to encoder: an opaque, shared handle with
// size and format. Where its bytes lie (in memory, on a graphics card) is known
// to the platform that made it; the engine only passes it on.
#pragma once

#include <cstdint>
#include <memory>

namespace orventa {

enum class PixelFormat : uint32_t {
  Bgra8,     // 8 bits a channel, sRGB codes
  RgbaHalf,  // half floats, scRGB: linear BT.709, 1.0 = 80 nits
  Nv12,      // 8-bit 4:2:0, luma plane and interleaved chroma plane
  P010,      // as Nv12 with 16-bit words, the 10-bit code in the upper bits
};

class MemoryPicture;

class Picture {
 public:
  Picture(PixelFormat format, uint32_t width, uint32_t height)
      : format_(format), width_(width), height_(height) {}
  virtual ~Picture() = default;
  Picture(const Picture&) = delete;
  Picture& operator=(const Picture&) = delete;

  PixelFormat format() const { return format_; }
  uint32_t width() const { return width_; }  // pixels
  uint32_t height() const { return height_; }

  // The picture as one whose bytes lie in memory; null for any other.
  virtual const MemoryPicture* InMemory() const { return nullptr; }

 private:
  PixelFormat format_;
  uint32_t width_;
  uint32_t height_;
};

using PictureRef = std::shared_ptr<const Picture>;

}  // namespace orventa
