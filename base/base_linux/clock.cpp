#include "base/clock.h"

#include <pthread.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <time.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "base/base_linux/posix.h"

namespace orventa {
namespace {

uint64_t ReadNs(clockid_t id) {
  timespec now{};
  clock_gettime(id, &now);
  return static_cast<uint64_t>(now.tv_sec) * kNsPerSecond + static_cast<uint64_t>(now.tv_nsec);
}

timespec ToTimespec(uint64_t ns) {
  timespec time{};
  time.tv_sec = static_cast<time_t>(ns / kNsPerSecond);
  time.tv_nsec = static_cast<long>(ns % kNsPerSecond);
  return time;
}

// The waits below misbehave only when their object is destroyed or not held: a
// fault of ours, and going on would be worse.
void CheckPthread(int code, const char* what) {
  if (code == 0) return;
  std::fprintf(stderr, "clock: %s failed with %d\n", what, code);
  std::abort();
}

class LinuxWaitPoint final : public IWaitPoint {
 public:
  LinuxWaitPoint() {
    pthread_condattr_t attributes;
    CheckPthread(pthread_condattr_init(&attributes), "making a wait point");
    CheckPthread(pthread_condattr_setclock(&attributes, CLOCK_MONOTONIC), "making a wait point");
    CheckPthread(pthread_cond_init(&condition_, &attributes), "making a wait point");
    pthread_condattr_destroy(&attributes);
  }
  ~LinuxWaitPoint() override { pthread_cond_destroy(&condition_); }
  LinuxWaitPoint(const LinuxWaitPoint&) = delete;
  LinuxWaitPoint& operator=(const LinuxWaitPoint&) = delete;

  void Wait(Mutex& mutex, uint64_t until_steady_ns) override {
    pthread_mutex_t* const native = mutex.native().native_handle();
    if (until_steady_ns == kForever) {
      CheckPthread(pthread_cond_wait(&condition_, native), "waiting");
      return;
    }
    const timespec until = ToTimespec(until_steady_ns);
    const int code = pthread_cond_timedwait(&condition_, native, &until);
    CheckPthread(code == ETIMEDOUT ? 0 : code, "waiting");
  }

  void NotifyAll() override { pthread_cond_broadcast(&condition_); }

 private:
  pthread_cond_t condition_{};
};

// Raising may be refused to an ordinary user; the thread then runs as it is.
void ApplyPriority(ThreadPriority priority) {
  constexpr int kBackgroundNice = 10;
  constexpr int kFrameClockNice = -10;
  if (priority == ThreadPriority::Normal) return;
  const bool background = priority == ThreadPriority::Background;
  if (background) {
    const sched_param parameters{};
    (void)sched_setscheduler(0, SCHED_BATCH, &parameters);
  }
  const auto self = static_cast<id_t>(syscall(SYS_gettid));
  (void)setpriority(PRIO_PROCESS, self, background ? kBackgroundNice : kFrameClockNice);
}

class LinuxThread final : public IThread {
 public:
  LinuxThread(const char* name, ThreadPriority priority, std::function<void()> body)
      : name_(name, strnlen(name, 15)), priority_(priority), body_(std::move(body)) {
    CheckPthread(pthread_create(&thread_, nullptr, &LinuxThread::Main, this), "starting a thread");
  }
  ~LinuxThread() override { LinuxThread::Join(); }
  LinuxThread(const LinuxThread&) = delete;
  LinuxThread& operator=(const LinuxThread&) = delete;

  void Join() override {
    if (joined_) return;
    CheckPthread(pthread_join(thread_, nullptr), "joining a thread");
    joined_ = true;
  }

  bool IsCurrent() const override { return !joined_ && pthread_equal(thread_, pthread_self()); }

 private:
  static void* Main(void* argument) noexcept {
    auto* const self = static_cast<LinuxThread*>(argument);
    pthread_setname_np(pthread_self(), self->name_.c_str());
    ApplyPriority(self->priority_);
    self->body_();
    // What the body holds is released by the thread that used it.
    self->body_ = nullptr;
    return nullptr;
  }

  const std::string name_;
  const ThreadPriority priority_;
  std::function<void()> body_;
  pthread_t thread_{};
  bool joined_ = false;
};

class LinuxClock final : public IClock {
 public:
  uint64_t SteadyNs() const override { return MonotonicNs(); }
  uint64_t SessionNs() const override { return MonotonicNs(); }

  uint64_t SuspendedNs() const override {
    // In this order the difference is never below zero.
    const uint64_t awake_ns = ReadNs(CLOCK_MONOTONIC);
    const uint64_t all_ns = ReadNs(CLOCK_BOOTTIME);
    return all_ns > awake_ns ? all_ns - awake_ns : 0;
  }

  int64_t WallMs() const override {
    return static_cast<int64_t>(ReadNs(CLOCK_REALTIME) / kNsPerMs);
  }

  LocalTime ToLocal(int64_t wall_ms) const override {
    int64_t seconds = wall_ms / 1000;
    int64_t millisecond = wall_ms % 1000;
    if (millisecond < 0) {
      millisecond += 1000;
      --seconds;
    }
    const time_t time = seconds;
    tm parts{};
    if (localtime_r(&time, &parts) == nullptr) return {};
    return {parts.tm_year + 1900,
            parts.tm_mon + 1,
            parts.tm_mday,
            parts.tm_hour,
            parts.tm_min,
            parts.tm_sec,
            static_cast<int>(millisecond)};
  }

  void SleepUntil(uint64_t steady_ns) override { SleepUntilMonotonicNs(steady_ns); }

  std::unique_ptr<IWaitPoint> MakeWaitPoint() override {
    return std::make_unique<LinuxWaitPoint>();
  }

  std::unique_ptr<IThread> StartThread(const char* name, ThreadPriority priority,
                                       std::function<void()> body) override {
    return std::make_unique<LinuxThread>(name, priority, std::move(body));
  }

  // Timers are exact here but for the slack that the system allows itself to
  // gather wake-ups, which belongs to a thread: it is lowered for the caller and
  // for threads that it starts meanwhile.
  std::unique_ptr<void, void (*)(void*)> RaiseTimerResolution() override {
    constexpr unsigned long kSlackNs = 1000;
    (void)prctl(PR_SET_TIMERSLACK, kSlackNs);
    return {this, [](void*) { (void)prctl(PR_SET_TIMERSLACK, 0UL); }};
  }
};

}  // namespace

uint64_t MonotonicNs() {
  return ReadNs(CLOCK_MONOTONIC);
}

void SleepUntilMonotonicNs(uint64_t until_ns) {
  const timespec until = ToTimespec(until_ns);
  while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &until, nullptr) == EINTR) {
  }
}

std::unique_ptr<IClock> MakeSystemClock() {
  return std::make_unique<LinuxClock>();
}

}  // namespace orventa
