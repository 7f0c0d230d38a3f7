// Any number of speakers to stereo, from samples as devices give them. Made for a
// device's format, used on the capture's thread.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace orventa {

enum class SampleKind { Float32, Int16 };

class Downmix {
 public:
  // Stereo of floats.
  Downmix() : Downmix(SampleKind::Float32, 2, 0) {}
  // `mask` has a bit for each speaker, in the order of the channels; one with fewer
  // bits than channels gives way to the usual one for that many.
  Downmix(SampleKind kind, uint32_t channels, uint32_t mask);

  size_t FrameBytes() const;
  // Writes `count` stereo frames, every sample within -1 and 1; what is no number
  // becomes 0. `frames` needs no alignment.
  void Run(const void* frames, size_t count, float* stereo) const;

 private:
  struct Gains {
    float left = 0;
    float right = 0;
  };
  template <class Sample>
  void RunOn(const uint8_t* frames, size_t count, float* stereo) const;

  SampleKind kind_;
  uint32_t channels_;
  std::vector<Gains> gains_;  // a channel each; empty: the first two are left and right
};

}  // namespace orventa
