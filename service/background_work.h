// Work that may wait for a drive for any time, done by a thread of its own, one piece
// after the other. The thread starts with the first piece. Any thread.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <memory>

#include "base/clock.h"
#include "base/mutex.h"

namespace orventa {

class BackgroundWork {
 public:
  // `name` as IClock::StartThread wants it. The clock must outlive this.
  BackgroundWork(IClock& clock, const char* name);
  // Waits for the piece at work; what is behind it is dropped.
  ~BackgroundWork();
  BackgroundWork(const BackgroundWork&) = delete;
  BackgroundWork& operator=(const BackgroundWork&) = delete;

  // What leaves a piece as an exception is logged, and the next one's turn comes. False:
  // no thread could be started, and the piece is dropped.
  bool Post(std::function<void()> piece);
  // False while the piece goes on at that time; it does go on.
  bool RunUntil(uint64_t steady_ns, std::function<void()> piece);
  bool IsIdle() const;

 private:
  void Run();
  bool Next(std::function<void()>& piece);

  IClock& clock_;
  const char* const name_;
  mutable Mutex mutex_;
  const std::unique_ptr<IWaitPoint> work_;
  std::deque<std::function<void()>> waiting_ ORVENTA_GUARDED_BY(mutex_);
  bool working_ ORVENTA_GUARDED_BY(mutex_) = false;
  bool ending_ ORVENTA_GUARDED_BY(mutex_) = false;
  std::unique_ptr<IThread> thread_ ORVENTA_GUARDED_BY(mutex_);
};

}  // namespace orventa
