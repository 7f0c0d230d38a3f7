#include "base/clock.h"

// First: the other headers of the system lean on it.
#include <windows.h>

#include <process.h>
#include <timeapi.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <utility>

#include "base/base_win/tick_scale.h"
#include "base/base_win/win32.h"

#ifndef CREATE_WAITABLE_TIMER_HIGH_RESOLUTION
#define CREATE_WAITABLE_TIMER_HIGH_RESOLUTION 0x00000002
#endif

namespace orventa {
namespace {

constexpr uint64_t kNsPerTick = 100;  // of file times and interrupt times

uint64_t CounterFrequency() {
  static const uint64_t frequency = [] {
    LARGE_INTEGER value{};
    QueryPerformanceFrequency(&value);
    return static_cast<uint64_t>(value.QuadPart);
  }();
  return frequency;
}

uint64_t CounterNs() {
  LARGE_INTEGER ticks{};
  QueryPerformanceCounter(&ticks);
  return TicksToNs(static_cast<uint64_t>(ticks.QuadPart), CounterFrequency());
}

uint64_t UnbiasedNs() {
  ULONGLONG ticks = 0;
  QueryUnbiasedInterruptTime(&ticks);
  return ticks * kNsPerTick;
}

[[noreturn]] void Fail(const char* what) {
  std::fprintf(stderr, "clock: %s failed with %lu\n", what, GetLastError());
  std::abort();
}

// What a thread waits with: an event for notifications and a timer that is finer
// than the system's tick where the system has such timers.
class ThreadWait {
 public:
  ThreadWait() : event_(CreateEventW(nullptr, FALSE, FALSE, nullptr)) {
    timer_ = WinHandle(CreateWaitableTimerExW(
        nullptr, nullptr, CREATE_WAITABLE_TIMER_HIGH_RESOLUTION, TIMER_ALL_ACCESS));
    if (!timer_.valid()) {
      timer_ = WinHandle(CreateWaitableTimerExW(nullptr, nullptr, 0, TIMER_ALL_ACCESS));
    }
    if (!event_.valid() || !timer_.valid()) Fail("making a thread's waits");
  }

  static ThreadWait& OfThisThread() {
    static thread_local ThreadWait wait;
    return wait;
  }

  HANDLE event() const { return event_.get(); }

  // True when the event was set, false at the deadline.
  bool WaitForEvent(uint64_t until_steady_ns) {
    for (;;) {
      if (until_steady_ns == kForever) {
        if (WaitForSingleObject(event_.get(), INFINITE) != WAIT_OBJECT_0) Fail("waiting");
        return true;
      }
      if (!ArmTimer(until_steady_ns)) {
        return WaitForSingleObject(event_.get(), 0) == WAIT_OBJECT_0;
      }
      const HANDLE handles[] = {event_.get(), timer_.get()};
      const DWORD which = WaitForMultipleObjects(2, handles, FALSE, INFINITE);
      if (which == WAIT_OBJECT_0) return true;
      if (which != WAIT_OBJECT_0 + 1) Fail("waiting");
    }
  }

  void Sleep(uint64_t until_steady_ns) {
    while (ArmTimer(until_steady_ns)) {
      if (WaitForSingleObject(timer_.get(), INFINITE) != WAIT_OBJECT_0) Fail("sleeping");
    }
  }

 private:
  // False when the time has come. A far deadline is waited for in pieces: the timer
  // counts in signed ticks, and the caller looks at the clock again in any case.
  bool ArmTimer(uint64_t until_steady_ns) {
    const uint64_t now_ns = CounterNs();
    if (now_ns >= until_steady_ns) return false;
    constexpr uint64_t kLongestNs = 3600 * kNsPerSecond;
    const uint64_t wait_ns = std::min(until_steady_ns - now_ns, kLongestNs);
    LARGE_INTEGER due{};
    due.QuadPart = -static_cast<LONGLONG>((wait_ns + kNsPerTick - 1) / kNsPerTick);
    if (!SetWaitableTimer(timer_.get(), &due, 0, nullptr, nullptr, FALSE)) Fail("setting a timer");
    return true;
  }

  WinHandle event_;
  WinHandle timer_;
};

class SrwGuard {
 public:
  explicit SrwGuard(SRWLOCK& lock) : lock_(lock) { AcquireSRWLockExclusive(&lock_); }
  ~SrwGuard() { ReleaseSRWLockExclusive(&lock_); }
  SrwGuard(const SrwGuard&) = delete;
  SrwGuard& operator=(const SrwGuard&) = delete;

 private:
  SRWLOCK& lock_;
};

// The C++ library's condition variable measures its deadlines on the wall clock,
// which jumps; so every waiter stands in a list with an event of its own.
class WinWaitPoint final : public IWaitPoint {
 public:
  void Wait(Mutex& mutex, uint64_t until_steady_ns) override ORVENTA_NO_TSA {
    ThreadWait& thread_wait = ThreadWait::OfThisThread();
    Waiter self{.event = thread_wait.event(), .next = nullptr, .notified = false};
    {
      const SrwGuard guard(lock_);
      self.next = first_;
      first_ = &self;
    }
    mutex.Unlock();
    if (!thread_wait.WaitForEvent(until_steady_ns) && !Leave(self)) {
      // The notification is on its way, to an event that must not be left set.
      thread_wait.WaitForEvent(kForever);
    }
    mutex.Lock();
  }

  void NotifyAll() override {
    const SrwGuard guard(lock_);
    for (Waiter* waiter = first_; waiter != nullptr;) {
      // Once notified the waiter goes its way, and its record with it.
      const HANDLE event = waiter->event;
      Waiter* const next = waiter->next;
      waiter->notified = true;
      SetEvent(event);
      waiter = next;
    }
    first_ = nullptr;
  }

 private:
  struct Waiter {
    HANDLE event;
    Waiter* next;
    bool notified;  // guarded by lock_
  };

  // False when a notification came first.
  bool Leave(Waiter& self) {
    const SrwGuard guard(lock_);
    if (self.notified) return false;
    Waiter** link = &first_;
    while (*link != &self) link = &(*link)->next;
    *link = self.next;
    return true;
  }

  SRWLOCK lock_ = SRWLOCK_INIT;
  Waiter* first_ = nullptr;
};

// Absent before Windows 10 1607.
void NameThisThread(const std::wstring& name) {
  using SetDescription = HRESULT(WINAPI*)(HANDLE, PCWSTR);
  static const auto set_description =
      SystemFunction<SetDescription>(L"kernel32.dll", "SetThreadDescription");
  if (set_description != nullptr) (void)set_description(GetCurrentThread(), name.c_str());
}

class WinThread final : public IThread {
 public:
  WinThread(const char* name, ThreadPriority priority, std::function<void()> body)
      : name_(Wide(name)), priority_(priority), body_(std::move(body)) {
    constexpr unsigned kDefaultStack = 0;
    thread_ = WinHandle(reinterpret_cast<HANDLE>(
        _beginthreadex(nullptr, kDefaultStack, &WinThread::Main, this, CREATE_SUSPENDED, &id_)));
    if (!thread_.valid()) Fail("starting a thread");
    ResumeThread(thread_.get());
  }
  ~WinThread() override { WinThread::Join(); }
  WinThread(const WinThread&) = delete;
  WinThread& operator=(const WinThread&) = delete;

  void Join() override {
    if (joined_) return;
    if (WaitForSingleObject(thread_.get(), INFINITE) != WAIT_OBJECT_0) Fail("joining a thread");
    joined_ = true;
  }

  bool IsCurrent() const override { return !joined_ && GetCurrentThreadId() == id_; }

 private:
  static unsigned __stdcall Main(void* argument) noexcept {
    auto* const self = static_cast<WinThread*>(argument);
    NameThisThread(self->name_);
    if (self->priority_ == ThreadPriority::Background) {
      SetThreadPriority(GetCurrentThread(), THREAD_PRIORITY_BELOW_NORMAL);
    } else if (self->priority_ == ThreadPriority::FrameClock) {
      SetThreadPriority(GetCurrentThread(), THREAD_PRIORITY_HIGHEST);
    }
    self->body_();
    // What the body holds is released by the thread that used it.
    self->body_ = nullptr;
    return 0;
  }

  const std::wstring name_;
  const ThreadPriority priority_;
  std::function<void()> body_;
  unsigned id_ = 0;
  WinHandle thread_;
  bool joined_ = false;
};

class WinClock final : public IClock {
 public:
  uint64_t SteadyNs() const override { return CounterNs(); }
  uint64_t SessionNs() const override { return UnbiasedNs(); }

  // As coarse as the tick count: it wavers by some 16 ms.
  uint64_t SuspendedNs() const override {
    // A thread that is held up between the two readings would count that as sleep.
    constexpr int kTries = 10;
    constexpr uint64_t kTickNs = 16 * kNsPerMs;
    uint64_t awake_ns = UnbiasedNs();
    uint64_t all_ns = 0;
    for (int i = 0; i < kTries; ++i) {
      all_ns = GetTickCount64() * kNsPerMs;
      const uint64_t since_ns = std::exchange(awake_ns, UnbiasedNs());
      if (awake_ns - since_ns <= kTickNs) break;
    }
    return all_ns > awake_ns ? all_ns - awake_ns : 0;
  }

  int64_t WallMs() const override {
    FILETIME now{};
    GetSystemTimePreciseAsFileTime(&now);
    constexpr int64_t kTicksTo1970 = 116'444'736'000'000'000;
    constexpr int64_t kTicksPerMs = 10'000;
    return (static_cast<int64_t>(Joined(now)) - kTicksTo1970) / kTicksPerMs;
  }

  LocalTime ToLocal(int64_t wall_ms) const override {
    const auto ticks = static_cast<uint64_t>(wall_ms * 10'000 + 116'444'736'000'000'000);
    const FILETIME time{.dwLowDateTime = static_cast<DWORD>(ticks),
                        .dwHighDateTime = static_cast<DWORD>(ticks >> 32)};
    SYSTEMTIME utc{};
    SYSTEMTIME local{};
    if (!FileTimeToSystemTime(&time, &utc) ||
        !SystemTimeToTzSpecificLocalTime(nullptr, &utc, &local)) {
      return {};
    }
    return {local.wYear,   local.wMonth,  local.wDay,         local.wHour,
            local.wMinute, local.wSecond, local.wMilliseconds};
  }

  void SleepUntil(uint64_t steady_ns) override { ThreadWait::OfThisThread().Sleep(steady_ns); }

  std::unique_ptr<IWaitPoint> MakeWaitPoint() override { return std::make_unique<WinWaitPoint>(); }

  std::unique_ptr<IThread> StartThread(const char* name, ThreadPriority priority,
                                       std::function<void()> body) override {
    return std::make_unique<WinThread>(name, priority, std::move(body));
  }

  std::unique_ptr<void, void (*)(void*)> RaiseTimerResolution() override {
    constexpr UINT kFinestMs = 1;
    timeBeginPeriod(kFinestMs);
    return {this, [](void*) { timeEndPeriod(kFinestMs); }};
  }
};

}  // namespace

void PauseMs(uint32_t ms) {
  ::Sleep(ms);
}

std::unique_ptr<IClock> MakeSystemClock() {
  return std::make_unique<WinClock>();
}

}  // namespace orventa
