// A stream header that files can be made of, and a look into such files.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace orventa {

// SPS and PPS of a 640x360 baseline stream at 60 fps, as libx264 wrote them.
inline std::vector<uint8_t> PlayableHeader() {
  return {0x00, 0x00, 0x00, 0x01, 0x67, 0x42, 0xc0, 0x1f, 0xd9, 0x00, 0xa0, 0x2f, 0xf9,
          0x70, 0x11, 0x00, 0x00, 0x03, 0x00, 0x01, 0x00, 0x00, 0x03, 0x00, 0x78, 0x0f,
          0x18, 0x32, 0x48, 0x00, 0x00, 0x00, 0x01, 0x68, 0xcb, 0x83, 0xcb, 0x20};
}

inline uint32_t Big32(const std::string& bytes, size_t at) {
  uint32_t value = 0;
  for (size_t i = 0; i < 4; ++i) value = value << 8U | static_cast<uint8_t>(bytes.at(at + i));
  return value;
}

// The sample count of the first sample size box.
inline uint32_t SampleCount(const std::string& file) {
  const size_t stsz = file.find("stsz");
  return stsz == std::string::npos ? 0 : Big32(file, stsz + 4 + 4 + 4);
}

}  // namespace orventa
