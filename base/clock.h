// The seam to time, waiting and threads. Nothing else in the tree reads a clock,
// sleeps, waits or starts a thread, so that tests drive all of it with a fake
// whose time stands still while any of its threads has work left.
// Every operation may be called from any thread; a clock must outlive whatever
// it made.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>

#include "base/mutex.h"

namespace orventa {

// A deadline that never comes.
inline constexpr uint64_t kForever = UINT64_MAX;

inline constexpr uint64_t kNsPerSecond = 1'000'000'000;
inline constexpr uint64_t kNsPerMs = 1'000'000;

// A wall time in the user's zone, as file names and the log show it.
struct LocalTime {
  int year = 1970;
  int month = 1;  // 1 to 12
  int day = 1;    // 1 to 31
  int hour = 0;   // 0 to 23
  int minute = 0;
  int second = 0;
  int millisecond = 0;
};

// What a thread waits on, in the manner of a condition variable: the caller
// holds the mutex that guards the condition, tests the condition in a loop, and
// waits between tests. Wake-ups without cause are allowed.
class IWaitPoint {
 public:
  virtual ~IWaitPoint() = default;
  // Releases the mutex, waits for a notification or until the steady clock
  // reaches `until_steady_ns`, and takes the mutex again.
  virtual void Wait(Mutex& mutex, uint64_t until_steady_ns) ORVENTA_REQUIRES(mutex) = 0;
  virtual void NotifyAll() = 0;
};

// A running thread, owned by whoever started it.
class IThread {
 public:
  // Joins.
  virtual ~IThread() = default;
  // Waits for the thread's end. A second call does nothing. Not from the thread itself.
  virtual void Join() = 0;
  // Whether the caller runs on this thread.
  virtual bool IsCurrent() const = 0;
};

enum class ThreadPriority {
  Background,  // saves, repairs: must never cost the game a frame
  Normal,
  FrameClock,  // the engine's own thread and the encoder worker
};

class IClock {
 public:
  virtual ~IClock() = default;

  // Monotonic time since an unnamed origin, for waiting and pacing.
  virtual uint64_t SteadyNs() const = 0;
  // Monotonic time that stands still while the machine sleeps; the origin of
  // the session timeline.
  virtual uint64_t SessionNs() const = 0;
  // How long the machine has slept since it was started.
  virtual uint64_t SuspendedNs() const = 0;
  // Milliseconds since 1970 in UTC. May jump.
  virtual int64_t WallMs() const = 0;
  virtual LocalTime ToLocal(int64_t wall_ms) const = 0;

  // Sleeps until the steady clock has reached the time; at once when it has.
  virtual void SleepUntil(uint64_t steady_ns) = 0;

  virtual std::unique_ptr<IWaitPoint> MakeWaitPoint() = 0;

  // Starts a thread. `name` is seen in debuggers, at most 15 characters.
  // An exception that leaves `body` ends the process.
  virtual std::unique_ptr<IThread> StartThread(const char* name, ThreadPriority priority,
                                               std::function<void()> body) = 0;

  // While the returned object lives, sleeps are exact to about a millisecond.
  virtual std::unique_ptr<void, void (*)(void*)> RaiseTimerResolution() = 0;
};

// The machine's own clock, by whichever platform this is built for.
std::unique_ptr<IClock> MakeSystemClock();

}  // namespace orventa
