// How loud one frequency is in recorded sound.
#pragma once

#include <cmath>
#include <cstdint>
#include <numbers>
#include <span>

namespace orventa {

// The amplitude, 1 being the greatest there is, in the left channel of stereo frames.
inline double ToneLevel(std::span<const int16_t> stereo, double hz, uint32_t rate = 48000) {
  double real = 0;
  double imaginary = 0;
  for (size_t i = 0; i < stereo.size() / 2; ++i) {
    const double angle = 2 * std::numbers::pi * hz * static_cast<double>(i) / rate;
    const double sample = stereo[2 * i] / 32768.0;
    real += sample * std::cos(angle);
    imaginary += sample * std::sin(angle);
  }
  return stereo.empty() ? 0 : 4 * std::hypot(real, imaginary) / static_cast<double>(stereo.size());
}

}  // namespace orventa
