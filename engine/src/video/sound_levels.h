// What of the running sound is shown: the meters, which fall slower than they rise,
// and whether the microphone is let through. The pump writes, any thread reads.
#pragma once

#include <algorithm>
#include <atomic>
#include <cstdint>

namespace orventa {

// 0 to 1.
struct EngineLevels {
  float system = 0;
  float microphone = 0;
  bool microphone_open = false;
};

class SoundLevels {
 public:
  // Peaks of the newest stretch of sound.
  void Note(const EngineLevels& peaks) {
    Move(system_, peaks.system);
    Move(microphone_, peaks.microphone);
    microphone_open_.store(peaks.microphone_open, std::memory_order_relaxed);
  }
  void Clear() {
    system_ = 0;
    microphone_ = 0;
    microphone_open_ = false;
  }
  EngineLevels Read() const { return {system_, microphone_, microphone_open_}; }

  // The microphone ran ahead of the system's sound and some of it was dropped.
  void CountDrop() { ++drops_; }
  uint32_t drops() const { return drops_; }

 private:
  static void Move(std::atomic<float>& meter, float peak) {
    const float old = meter.load(std::memory_order_relaxed);
    meter.store(peak >= old ? peak : 0.45F * peak + 0.55F * old, std::memory_order_relaxed);
  }

  std::atomic<float> system_ = 0;
  std::atomic<float> microphone_ = 0;
  std::atomic<bool> microphone_open_ = false;
  std::atomic<uint32_t> drops_ = 0;
};

}  // namespace orventa
