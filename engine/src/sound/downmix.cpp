#include "sound/downmix.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace orventa {
namespace {

constexpr float kHalfPower = 0.70710678F;

// By bit of the mask: front left, front right, front centre, low frequency, back
// left, back right, left of centre, right of centre, back centre, side left, side
// right, top, top front left, centre, right, top back left, centre, right.
struct SpeakerGains {
  float left;
  float right;
};
constexpr std::array<SpeakerGains, 18> kSpeakers = {{
    {1, 0},
    {0, 1},
    {kHalfPower, kHalfPower},
    {0, 0},
    {kHalfPower, 0},
    {0, kHalfPower},
    {1, 0},
    {0, 1},
    {0.5F, 0.5F},
    {kHalfPower, 0},
    {0, kHalfPower},
    {0.5F, 0.5F},
    {kHalfPower, 0},
    {0.5F, 0.5F},
    {0, kHalfPower},
    {kHalfPower, 0},
    {0.5F, 0.5F},
    {0, kHalfPower},
}};

// For 1 to 8 channels.
constexpr std::array<uint32_t, 8> kUsualMasks = {0x4, 0x3, 0x7, 0x33, 0x37, 0x3F, 0x13F, 0x63F};

float Held(float value) {
  if (value >= -1 && value <= 1) return value;
  if (value > 1) return 1;
  return value < -1 ? -1.0F : 0.0F;
}

float Load(const uint8_t* from, float /*kind*/) {
  float value = 0;
  std::memcpy(&value, from, sizeof(value));
  return value;
}
float Load(const uint8_t* from, int16_t /*kind*/) {
  int16_t value = 0;
  std::memcpy(&value, from, sizeof(value));
  return static_cast<float>(value) * (1.0F / 32768.0F);
}

}  // namespace

Downmix::Downmix(SampleKind kind, uint32_t channels, uint32_t mask)
    : kind_(kind), channels_(channels) {
  if (channels <= 2) return;
  if (static_cast<uint32_t>(std::popcount(mask)) < channels) {
    mask = kUsualMasks[std::min<size_t>(channels, kUsualMasks.size()) - 1];
  }
  gains_.resize(channels);  // channels without a speaker stay silent
  size_t channel = 0;
  for (; mask != 0 && channel < channels; mask &= mask - 1, ++channel) {
    const auto speaker = static_cast<size_t>(std::countr_zero(mask));
    if (speaker >= kSpeakers.size()) continue;
    gains_[channel] = {kSpeakers[speaker].left, kSpeakers[speaker].right};
  }
}

size_t Downmix::FrameBytes() const {
  return channels_ * (kind_ == SampleKind::Float32 ? sizeof(float) : sizeof(int16_t));
}

void Downmix::Run(const void* frames, size_t count, float* stereo) const {
  const auto* const bytes = static_cast<const uint8_t*>(frames);
  if (kind_ == SampleKind::Float32) {
    RunOn<float>(bytes, count, stereo);
  } else {
    RunOn<int16_t>(bytes, count, stereo);
  }
}

template <class Sample>
void Downmix::RunOn(const uint8_t* frames, size_t count, float* stereo) const {
  const size_t frame_bytes = channels_ * sizeof(Sample);
  const size_t right_at = channels_ == 2 ? sizeof(Sample) : 0;
  for (size_t i = 0; i < count; ++i, frames += frame_bytes, stereo += 2) {
    float left = 0;
    float right = 0;
    if (gains_.empty()) {
      left = Load(frames, Sample{});
      right = Load(frames + right_at, Sample{});
    } else {
      for (size_t channel = 0; channel < channels_; ++channel) {
        const float sample = Load(frames + channel * sizeof(Sample), Sample{});
        left += gains_[channel].left * sample;
        right += gains_[channel].right * sample;
      }
    }
    stereo[0] = Held(left);
    stereo[1] = Held(right);
  }
}

}  // namespace orventa
