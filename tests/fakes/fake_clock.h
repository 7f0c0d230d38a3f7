// A clock whose time moves only when nobody has anything left to do. The thread
// that makes it and every thread started through it take part: one of them runs
// at a time, until it waits in the clock (SleepUntil, a wait point, Join); then the
// next one in the order of becoming ready goes on. When all wait, the steady clock
// jumps to the earliest deadline. So threaded code runs in virtual time, and in the
// same order every time.
//
// It ends the program with a message that names the waiting threads when all wait
// and nothing can wake any of them, when threads go on waking each other without
// time moving, and when it is destroyed before its threads have ended.
//
// The steady and the session clock begin at different times, so that mixing them
// up shows.
#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "base/clock.h"

namespace orventa {

class FakeClock final : public IClock {
 public:
  static constexpr uint64_t kSteadyStartNs = 1000 * kNsPerSecond;
  static constexpr uint64_t kSessionStartNs = 400 * kNsPerSecond;
  // 2024-05-17 12:00:00 UTC.
  static constexpr int64_t kWallStartMs = 1'715'947'200'000;

  FakeClock();
  ~FakeClock() override;
  FakeClock(const FakeClock&) = delete;
  FakeClock& operator=(const FakeClock&) = delete;

  uint64_t SteadyNs() const override;
  uint64_t SessionNs() const override;
  uint64_t SuspendedNs() const override;
  int64_t WallMs() const override;
  // UTC and the offset of SetZone.
  LocalTime ToLocal(int64_t wall_ms) const override;
  void SleepUntil(uint64_t steady_ns) override;
  std::unique_ptr<IWaitPoint> MakeWaitPoint() override;
  std::unique_ptr<IThread> StartThread(const char* name, ThreadPriority priority,
                                       std::function<void()> body) override;
  std::unique_ptr<void, void (*)(void*)> RaiseTimerResolution() override;

  // Lets the others work until the steady clock has moved on by so much, or has
  // reached that time; what is due at the end itself has been done as well.
  void RunFor(uint64_t ns) { RunUntil(SteadyNs() + ns); }
  void RunUntil(uint64_t steady_ns);

  // Calls back at exactly that steady time, before any other thread that is due
  // then; callbacks of one time in the order of asking. They run on a thread of the
  // clock, which takes part like any other.
  void At(uint64_t steady_ns, std::function<void()> callback);
  void After(uint64_t ns, std::function<void()> callback) { At(SteadyNs() + ns, callback); }

  // The machine sleeps, now: wall time and the suspended time move on, session time
  // does not, and the steady clock as the knob says.
  void SuspendFor(uint64_t ns);
  // Whether the steady clock goes on while the machine sleeps, as on Windows.
  void SetSteadyRunsInSleep(bool runs);

  // How far off the next readings of the suspended time are: it is made of two
  // clocks that cannot be read at one moment.
  void SetSuspendedError(uint64_t ns);

  // The wall clock is set, as a user or a time server does it.
  void SetWallMs(int64_t wall_ms);
  void SetZone(int minutes_east);

  // Threads started through the clock that have not ended.
  size_t RunningThreads() const;
  // How many holders the raised timer resolution has.
  int TimerResolutionHolders() const;

 private:
  enum class State { Ready, Running, Waiting, Ended };
  class WaitPoint;
  class Thread;

  struct Participant {
    std::string name;
    State state = State::Ready;
    bool of_clock = false;            // the thread of the callbacks
    uint64_t deadline_ns = kForever;  // the rest while Waiting
    const WaitPoint* wait_point = nullptr;
    const Participant* joins = nullptr;
    std::condition_variable turn;
  };
  using Lock = std::unique_lock<std::mutex>;

  // All of these are called with the lock held.
  Participant& Self(const char* doing);
  Participant& Add(std::string name);
  void Bind(Participant& participant);
  void MakeReady(Participant& participant);
  template <typename Test>
  void MakeReadyIf(Test test);
  void WaitTurn(Lock& lock, Participant& self);
  void GiveTurn(Lock& lock, Participant& self);
  void Wait(Lock& lock, Participant& self, uint64_t deadline_ns);
  void PassOn();
  void JumpToNextDeadline();
  void MakeDueReady();
  void RunCallbacks();
  [[noreturn]] void Fail(const std::string& why) const;

  std::unique_ptr<IThread> Start(const char* name, bool of_clock, std::function<void()> body);

  mutable std::mutex mutex_;
  std::list<Participant> participants_;
  std::map<std::thread::id, Participant*> bound_;
  std::deque<Participant*> ready_;
  std::list<Participant*> waiting_;  // in the order of beginning to wait
  uint64_t passes_since_jump_ = 0;

  uint64_t steady_ns_ = kSteadyStartNs;
  uint64_t slept_in_steady_ns_ = 0;  // sleep of the machine that the steady clock counts
  uint64_t suspended_ns_ = 0;
  uint64_t suspended_error_ns_ = 0;
  int64_t wall_offset_ns_ = 0;
  int zone_minutes_ = 0;
  bool steady_runs_in_sleep_ = false;
  int resolution_holders_ = 0;

  std::multimap<uint64_t, std::function<void()>> callbacks_;
  bool ending_ = false;
  std::unique_ptr<IThread> callback_thread_;
  Participant* callback_participant_ = nullptr;
};

}  // namespace orventa
