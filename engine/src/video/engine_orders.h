// What the engine's callers want of its thread: flags that the thread looks at in
// its own time, and the wait that an order cuts short. Any thread sets; the engine
// thread reads and waits.
#pragma once

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <memory>

#include "base/clock.h"

namespace orventa {

class EngineOrders {
 public:
  explicit EngineOrders(IClock& clock) : clock_(clock), wake_(clock.MakeWaitPoint()) {}

  std::atomic<bool> stop_requested = false;
  std::atomic<bool> restart_requested = false;  // build the pipeline anew
  std::atomic<bool> target_in_doubt = false;    // look whether it is still the right one
  std::atomic<bool> sound_changed = false;
  std::atomic<bool> push_to_talk_held = false;
  std::atomic<bool> paused = false;
  std::atomic<bool> recording_wanted = false;
  std::atomic<bool> clear_requested = false;  // drop the history before the next build
  std::atomic<bool> retry_encoder = false;
  std::atomic<bool> suspended = false;  // the machine is going to sleep
  std::atomic<uint64_t> suspended_at_ns = 0;

  void Set(std::atomic<bool>& flag, bool value) {
    flag = value;
    // The lock keeps a waiter from missing the change between its test and its wait.
    { MutexLock lock(mutex_); }
    wake_->NotifyAll();
  }

  // Waits until the steady clock reaches the time or `done()`; whether it was done.
  template <typename Done>
  bool WaitUntil(uint64_t steady_ns, Done done) {
    MutexLock lock(mutex_);
    while (!done()) {
      const uint64_t now = clock_.SteadyNs();
      if (now >= steady_ns) return false;
      // Short steps, since a machine that slept meanwhile counts its waits as it likes.
      wake_->Wait(mutex_, std::min(steady_ns, now + kLongestStepNs));
    }
    return true;
  }

 private:
  static constexpr uint64_t kLongestStepNs = 1'000'000'000;

  IClock& clock_;
  Mutex mutex_;
  std::unique_ptr<IWaitPoint> wake_;
};

}  // namespace orventa
