// Listens to a capture as the engine does, and tells which tones are in what came.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <vector>

#include "base/clock.h"
#include "sound/capture.h"
#include "tests/fakes/tone_level.h"

namespace orventa {

inline constexpr uint32_t kListenerRate = 48000;
inline constexpr size_t kListenerWindow = kListenerRate / 10;  // frames a level is taken from

// Amplitude of one frequency in the newest frames' left channel.
inline double LevelOf(const std::vector<int16_t>& sound, double hz) {
  if (sound.size() < 2 * kListenerWindow) return 0;
  return ToneLevel(std::span(sound).last(2 * kListenerWindow), hz, kListenerRate);
}

// Reads a capture at its pace, late enough for a machine that has much to do.
class Listener {
 public:
  Listener(IClock& clock, IAudioCapture& capture) : clock_(clock), capture_(capture) {
    EXPECT_EQ(capture.Format(), (SoundFormat{kListenerRate, 2}));
    origin_ns_ = clock.SteadyNs();
    capture.SetOrigin(origin_ns_, 0);
    EXPECT_TRUE(capture.Start().ok());
  }
  ~Listener() { capture_.Stop(); }

  // Whether it comes to hold, within a time that says that something is wrong.
  bool Until(const std::function<bool()>& condition, uint64_t seconds = 30) {
    constexpr uint64_t kStepNs = 20 * kNsPerMs;
    const uint64_t deadline_ns = clock_.SteadyNs() + seconds * kNsPerSecond;
    while (!condition()) {
      const uint64_t now_ns = clock_.SteadyNs();
      if (now_ns >= deadline_ns) return false;
      clock_.SleepUntil(now_ns + kStepNs);
      ReadUntil(clock_.SteadyNs() - 400 * kNsPerMs);
    }
    return true;
  }

  bool Hears(double hz, double loud, double tolerance = 0.05) {
    return Until([&] { return std::abs(LevelOf(sound_, hz) - loud) < tolerance * loud; });
  }
  bool IsSilent() {
    return Until([&] {
      return std::all_of(sound_.end() - 2 * std::min(sound_.size() / 2, kListenerWindow),
                         sound_.end(), [](int16_t sample) { return sample == 0; });
    });
  }

  const std::vector<int16_t>& sound() const { return sound_; }
  uint64_t origin_ns() const { return origin_ns_; }

 private:
  // Every frame is there exactly once, whatever the devices do.
  void ReadUntil(uint64_t until_ns) {
    EXPECT_TRUE(capture_.Read(until_ns, sound_).ok());
    if (until_ns <= origin_ns_ || testing::Test::HasFailure()) return;  // once said is enough
    EXPECT_EQ(sound_.size(), 2 * FramesBefore(origin_ns_, until_ns, kListenerRate));
  }

  IClock& clock_;
  IAudioCapture& capture_;
  uint64_t origin_ns_ = 0;
  std::vector<int16_t> sound_;
};

inline std::vector<std::string> Reasons(const IAudioCapture& capture) {
  std::vector<std::string> reasons;
  for (const DeviceStint& stint : capture.Trail()) reasons.push_back(stint.reason);
  return reasons;
}

}  // namespace orventa
