// Pictures for the tests of the conversion: filled pixel by pixel, with rows of any
// stride in a block that ends with the last pixel, so that a checker sees every
// byte read beyond.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <memory>
#include <vector>

#include "convert/colour.h"
#include "convert/half.h"
#include "media/memory_picture.h"

namespace orventa::test {

// A small generator of the same numbers everywhere.
class Noise {
 public:
  explicit Noise(uint32_t seed) : state_(seed * 2654435761U + 1) {}
  uint32_t Next() {
    state_ ^= state_ << 13;
    state_ ^= state_ >> 17;
    state_ ^= state_ << 5;
    return state_;
  }
  float Unit() { return static_cast<float>(Next() >> 8) * 0x1p-24F; }

 private:
  uint32_t state_;
};

inline std::shared_ptr<MemoryPicture> Packed(PixelFormat format, uint32_t width, uint32_t height,
                                             size_t gap) {
  const size_t row = size_t{width} * (format == PixelFormat::Bgra8 ? 4 : 8);
  const size_t stride = row + gap;
  auto bytes = std::make_shared<std::vector<uint8_t>>(stride * (height - 1) + row);
  const std::array<PlaneView, 2> planes{PlaneView{bytes->data(), stride}, PlaneView{}};
  return std::make_shared<MemoryPicture>(format, width, height, planes, bytes);
}

using Code = std::array<uint8_t, 3>;  // r, g, b

inline std::shared_ptr<MemoryPicture> Codes(uint32_t width, uint32_t height,
                                            const std::function<Code(uint32_t, uint32_t)>& pixel,
                                            size_t gap = 0) {
  auto picture = Packed(PixelFormat::Bgra8, width, height, gap);
  for (uint32_t y = 0; y < height; ++y) {
    for (uint32_t x = 0; x < width; ++x) {
      const Code c = pixel(x, y);
      const std::array<uint8_t, 4> bgra = {c[2], c[1], c[0], static_cast<uint8_t>(x * 7 + y)};
      std::memcpy(picture->plane(0).data + y * picture->plane(0).stride + size_t{x} * 4,
                  bgra.data(), bgra.size());
    }
  }
  return picture;
}

using Halves = std::array<uint16_t, 3>;

inline std::shared_ptr<MemoryPicture> Light(uint32_t width, uint32_t height,
                                            const std::function<Halves(uint32_t, uint32_t)>& pixel,
                                            size_t gap = 0) {
  auto picture = Packed(PixelFormat::RgbaHalf, width, height, gap);
  for (uint32_t y = 0; y < height; ++y) {
    for (uint32_t x = 0; x < width; ++x) {
      const Halves c = pixel(x, y);
      const std::array<uint16_t, 4> rgba = {c[0], c[1], c[2], 0x3C00};
      std::memcpy(picture->plane(0).data + y * picture->plane(0).stride + size_t{x} * 8,
                  rgba.data(), sizeof(rgba));
    }
  }
  return picture;
}

inline Halves ToHalves(Rgb c) {
  return {FloatToHalf(c.r), FloatToHalf(c.g), FloatToHalf(c.b)};
}

inline std::shared_ptr<MemoryPicture> NoiseCodes(uint32_t width, uint32_t height, uint32_t seed,
                                                 size_t gap = 0) {
  Noise noise(seed);
  return Codes(
      width, height,
      [&noise](uint32_t, uint32_t) {
        const uint32_t v = noise.Next();
        return Code{static_cast<uint8_t>(v), static_cast<uint8_t>(v >> 8),
                    static_cast<uint8_t>(v >> 16)};
      },
      gap);
}

// Light from a little below black to far above the display's peak, all in one frame.
inline std::shared_ptr<MemoryPicture> NoiseLight(uint32_t width, uint32_t height, uint32_t seed,
                                                 size_t gap = 0) {
  Noise noise(seed);
  const auto channel = [&noise] {
    const float stops = noise.Unit() * 18.0F - 12.0F;
    return std::exp2(stops) - 0.01F;
  };
  return Light(
      width, height,
      [&channel](uint32_t, uint32_t) {
        const float r = channel();
        const float g = channel();
        return ToHalves({r, g, channel()});
      },
      gap);
}

inline uint32_t CodeAt(const MemoryPicture& picture, size_t plane, size_t x, size_t y) {
  const uint8_t* row = picture.plane(plane).data + y * picture.plane(plane).stride;
  if (picture.format() != PixelFormat::P010) return row[x];
  uint16_t word = 0;
  std::memcpy(&word, row + 2 * x, sizeof(word));
  return word;
}

}  // namespace orventa::test
