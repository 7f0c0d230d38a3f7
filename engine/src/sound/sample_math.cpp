#include "sound/sample_math.h"

#include <cstddef>

namespace orventa {

void ScaleSamples(std::span<const int16_t> from, float volume, std::span<int16_t> to) {
  for (size_t i = 0; i < from.size(); ++i) to[i] = ToSample(static_cast<float>(from[i]) * volume);
}

void ScaleMiddle(std::span<const int16_t> from, float volume, std::span<int16_t> to) {
  for (size_t i = 0; i + 1 < from.size(); i += 2) {
    const auto sum = static_cast<float>(from[i] + from[i + 1]);
    to[i] = to[i + 1] = ToSample(sum / 2 * volume);
  }
}

void AddSamples(std::span<const int16_t> from, std::span<int16_t> to) {
  const size_t both = std::min(from.size(), to.size());
  for (size_t i = 0; i < both; ++i) {
    const int32_t sum = int32_t{from[i]} + to[i];
    to[i] = static_cast<int16_t>(std::clamp<int32_t>(sum, INT16_MIN, INT16_MAX));
  }
}

void AverageFrames(std::span<const int16_t> stereo, std::span<int16_t> mono) {
  for (size_t i = 0; i < mono.size(); ++i) {
    mono[i] = static_cast<int16_t>((int32_t{stereo[2 * i]} + stereo[2 * i + 1]) / 2);
  }
}

float PeakOf(std::span<const int16_t> samples) {
  int16_t lowest = 0;
  int16_t highest = 0;
  for (const int16_t sample : samples) {
    lowest = std::min(lowest, sample);
    highest = std::max(highest, sample);
  }
  return static_cast<float>(std::max(-int32_t{lowest}, int32_t{highest})) / 32768;
}

}  // namespace orventa
