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
#include "convert/converter.h"
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

// `pixel` gives the four channels as they lie in memory.
template <class Pixel>
std::shared_ptr<MemoryPicture> Drawn(PixelFormat format, uint32_t width, uint32_t height,
                                     size_t gap, const Pixel& pixel) {
  auto picture = Packed(format, width, height, gap);
  const PlaneView& plane = picture->plane(0);
  for (uint32_t y = 0; y < height; ++y) {
    for (uint32_t x = 0; x < width; ++x) {
      const auto channels = pixel(x, y);
      std::memcpy(plane.data + y * plane.stride + x * sizeof(channels), channels.data(),
                  sizeof(channels));
    }
  }
  return picture;
}

using Code = std::array<uint8_t, 3>;  // r, g, b

inline std::shared_ptr<MemoryPicture> Codes(uint32_t width, uint32_t height,
                                            const std::function<Code(uint32_t, uint32_t)>& pixel,
                                            size_t gap = 0) {
  return Drawn(PixelFormat::Bgra8, width, height, gap, [&](uint32_t x, uint32_t y) {
    const Code c = pixel(x, y);
    return std::array{c[2], c[1], c[0], static_cast<uint8_t>(x * 7 + y)};
  });
}

using Halves = std::array<uint16_t, 3>;

inline std::shared_ptr<MemoryPicture> Light(uint32_t width, uint32_t height,
                                            const std::function<Halves(uint32_t, uint32_t)>& pixel,
                                            size_t gap = 0) {
  return Drawn(PixelFormat::RgbaHalf, width, height, gap, [&](uint32_t x, uint32_t y) {
    const Halves c = pixel(x, y);
    return std::array{c[0], c[1], c[2], uint16_t{0x3C00}};
  });
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

// Light of one of `codes` greys drawn in SDR, as a compositor writes it at that white
// level: cut off to half floats.
inline uint16_t ComposedGrey(uint32_t code, uint32_t codes, float white) {
  const float drawn = static_cast<float>(code) / static_cast<float>(codes - 1);
  return FloatToHalfTruncated(SrgbToLinear(drawn) * white);
}

// A conversion of a whole picture of one size to another.
inline ConverterSettings SettingsFor(uint32_t input_width, uint32_t input_height, uint32_t width,
                                     uint32_t height, uint32_t pool_size = 1) {
  ConverterSettings settings;
  settings.input_width = input_width;
  settings.input_height = input_height;
  settings.width = width;
  settings.height = height;
  settings.pool_size = pool_size;
  return settings;
}

inline uint32_t CodeAt(const MemoryPicture& picture, size_t plane, size_t x, size_t y) {
  const uint8_t* row = picture.plane(plane).data + y * picture.plane(plane).stride;
  if (picture.format() != PixelFormat::P010) return row[x];
  uint16_t word = 0;
  std::memcpy(&word, row + 2 * x, sizeof(word));
  return word;
}

}  // namespace orventa::test
