#include "sound/gate.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "sound/sample_math.h"

namespace orventa {
namespace {

constexpr uint32_t kHoldMs = 250;
constexpr uint32_t kTailMs = 200;
constexpr float kAttackMs = 3;
constexpr float kReleaseMs = 120;
constexpr int32_t kCloseBelowDb = 6;

int32_t LevelOf(int32_t db) {
  return static_cast<int32_t>(std::lround(std::pow(10.0, db / 20.0) * 32768));
}

}  // namespace

void MicrophoneGate::SetUp(bool push_to_talk, bool gate, int32_t threshold_db, uint32_t rate) {
  push_to_talk_ = push_to_talk;
  gate_ = gate;
  if (rate == 0) rate = 48000;
  const int32_t threshold = std::clamp(threshold_db, -120, 0);
  open_level_ = LevelOf(threshold);
  close_level_ = LevelOf(threshold - kCloseBelowDb);
  const auto frames_a_ms = static_cast<float>(rate) / 1000;
  attack_step_ = 1 / (frames_a_ms * kAttackMs);
  release_step_ = 1 / (frames_a_ms * kReleaseMs);
  hold_frames_ = static_cast<uint32_t>(uint64_t{rate} * kHoldMs / 1000);
  tail_frames_ = static_cast<uint32_t>(uint64_t{rate} * kTailMs / 1000);
  if (!configured_) gain_ = push_to_talk || gate ? 0.0F : 1.0F;
  configured_ = true;
}

void MicrophoneGate::Run(std::span<const int16_t> detect, std::span<int16_t> target) {
  if (!push_to_talk_ && !gate_ && gain_ == 1) {
    last_open_ = true;
    return;
  }
  const size_t frames = std::min(detect.size(), target.size()) / 2;
  for (size_t i = 0; i < frames; ++i) {
    const bool wanted = KeyWants();
    const bool passes = LevelPasses(&detect[2 * i]);
    last_open_ = wanted && passes;
    gain_ =
        last_open_ ? std::min(gain_ + attack_step_, 1.0F) : std::max(gain_ - release_step_, 0.0F);
    if (gain_ == 1) continue;
    for (int16_t& sample : target.subspan(2 * i, 2)) {
      sample = ToSample(static_cast<float>(sample) * gain_);
    }
  }
}

bool MicrophoneGate::KeyWants() {
  if (!push_to_talk_) return true;
  if (held_) {
    tail_left_ = tail_frames_;
    return true;
  }
  if (tail_left_ == 0) return false;
  return --tail_left_ != 0;
}

bool MicrophoneGate::LevelPasses(const int16_t* frame) {
  if (!gate_) return true;
  const int32_t peak = std::max(std::abs(int32_t{frame[0]}), std::abs(int32_t{frame[1]}));
  if (peak >= open_level_) {
    is_open_ = true;
    hold_left_ = hold_frames_;
  } else if (is_open_ && peak >= close_level_) {
    hold_left_ = hold_frames_;
  } else if (is_open_ && hold_left_ > 0) {
    --hold_left_;
  } else {
    is_open_ = false;
  }
  return is_open_;
}

}  // namespace orventa
