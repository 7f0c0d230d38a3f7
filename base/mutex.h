// The one lock of the tree: std::mutex with the names that thread safety
// analysis needs. Never held across a wait, a file or pipe operation, or a call
// into another component; the order of locks stands in docs/architecture.md.
#pragma once

#include <mutex>

#include "base/thread_annotations.h"

namespace orventa {

class ORVENTA_CAPABILITY("mutex") Mutex {
 public:
  Mutex() = default;
  Mutex(const Mutex&) = delete;
  Mutex& operator=(const Mutex&) = delete;

  void Lock() ORVENTA_ACQUIRE() { mutex_.lock(); }
  void Unlock() ORVENTA_RELEASE() { mutex_.unlock(); }

  // For wait points only: they hand the lock to a condition variable.
  std::mutex& native() { return mutex_; }

 private:
  std::mutex mutex_;
};

class ORVENTA_SCOPED_CAPABILITY MutexLock {
 public:
  explicit MutexLock(Mutex& mutex) ORVENTA_ACQUIRE(mutex) : mutex_(mutex) { mutex_.Lock(); }
  ~MutexLock() ORVENTA_RELEASE() { mutex_.Unlock(); }
  MutexLock(const MutexLock&) = delete;
  MutexLock& operator=(const MutexLock&) = delete;

 private:
  Mutex& mutex_;
};

}  // namespace orventa
