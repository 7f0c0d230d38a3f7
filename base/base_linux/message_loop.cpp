#include "base/base_linux/message_loop.h"

#include <poll.h>
#include <signal.h>
#include <sys/eventfd.h>
#include <sys/timerfd.h>

#include <array>
#include <atomic>
#include <map>
#include <vector>

#include "base/base_linux/posix.h"
#include "base/log.h"
#include "base/loop_core.h"

namespace orventa {
namespace {

// Where the signal handler reports; -1 while no loop listens.
std::atomic<int> signal_fd{-1};
static_assert(std::atomic<int>::is_always_lock_free, "read by a signal handler");

void Poke(int fd) {
  const uint64_t one = 1;
  // It fails only when the count is full, and then the reader is awake already.
  [[maybe_unused]] const ssize_t written = write(fd, &one, sizeof one);
}

void Drain(int fd) {
  uint64_t count = 0;
  [[maybe_unused]] const ssize_t got = read(fd, &count, sizeof count);
}

void OnSignal(int) {
  const int kept_errno = errno;
  if (const int fd = signal_fd.load(); fd >= 0) Poke(fd);
  errno = kept_errno;
}

// Takes the ending signals over for as long as it lives.
class EndingSignals {
 public:
  explicit EndingSignals(int fd) {
    signal_fd = fd;
    for (size_t i = 0; i < kSignals.size(); ++i) {
      sigaction(kSignals[i], nullptr, &previous_[i]);
      if (previous_[i].sa_handler == SIG_IGN) continue;
      struct sigaction action {};
      action.sa_handler = OnSignal;
      action.sa_flags = SA_RESTART;
      sigaction(kSignals[i], &action, nullptr);
    }
  }
  ~EndingSignals() {
    for (size_t i = 0; i < kSignals.size(); ++i) sigaction(kSignals[i], &previous_[i], nullptr);
    signal_fd = -1;
  }
  EndingSignals(const EndingSignals&) = delete;
  EndingSignals& operator=(const EndingSignals&) = delete;

 private:
  static constexpr std::array kSignals = {SIGTERM, SIGINT, SIGHUP};
  std::array<struct sigaction, kSignals.size()> previous_{};
};

struct Descriptors {
  FileDescriptor wake;
  FileDescriptor timer;
  FileDescriptor signals;
};

class LinuxMessageLoop final : public ILinuxMessageLoop {
 public:
  LinuxMessageLoop(IClock& clock, Descriptors fds)
      : fds_(std::move(fds)),
        core_(clock, [this] { Poke(fds_.wake.get()); }),
        ending_signals_(fds_.signals.get()) {}

  void Run(IMessageHandler& handler) override {
    handler_ = &handler;
    while (!core_.IsQuitting()) {
      WaitForWork();
      ServeWatches();
      core_.ServeNext(handler);
    }
    handler_ = nullptr;
    core_.End();
  }

  void Quit() override { core_.Quit(); }
  void Close() override { core_.PostEvent(SystemEvent::CloseRequested); }
  bool Post(Message message) override { return core_.Post(std::move(message)); }
  void SetTimer(uint32_t timer_id, uint32_t period_ms) override {
    core_.SetTimer(timer_id, period_ms);
  }
  void ClearTimer(uint32_t timer_id) override { core_.ClearTimer(timer_id); }
  bool RespondsWithin(uint32_t limit_ms) override { return core_.RespondsWithin(limit_ms); }

  void AddWatch(int fd, short poll_events, std::function<void(short)> callback) override {
    watches_[fd] = {poll_events,
                    std::make_shared<const std::function<void(short)>>(std::move(callback))};
  }

  void ChangeWatch(int fd, short poll_events) override {
    if (const auto watch = watches_.find(fd); watch != watches_.end()) {
      watch->second.poll_events = poll_events;
    }
  }

  void RemoveWatch(int fd) override { watches_.erase(fd); }

  void InjectSystemEvent(SystemEvent event) override {
    if (handler_in_watch_ != nullptr) {
      handler_in_watch_->OnSystemEvent(event);
    } else {
      core_.PostEvent(event);
    }
  }

 private:
  struct Watch {
    short poll_events = 0;
    // Shared, since a callback may remove its own watch while it runs.
    std::shared_ptr<const std::function<void(short)>> callback;
  };

  void WaitForWork() {
    polled_.clear();
    polled_.push_back({fds_.wake.get(), POLLIN, 0});
    polled_.push_back({fds_.timer.get(), POLLIN, 0});
    polled_.push_back({fds_.signals.get(), POLLIN, 0});
    for (const auto& [fd, watch] : watches_) polled_.push_back({fd, watch.poll_events, 0});

    ArmTimer(core_.NextTimerNs());
    constexpr int kNoWait = 0;
    constexpr int kUntilWoken = -1;
    (void)Uninterrupted([&] {
      return poll(polled_.data(), polled_.size(), core_.HasWork() ? kNoWait : kUntilWoken);
    });
    if (polled_[0].revents != 0) Drain(fds_.wake.get());
    if (polled_[1].revents != 0) Drain(fds_.timer.get());
    if (polled_[2].revents != 0) {
      Drain(fds_.signals.get());
      core_.PostEvent(SystemEvent::CloseRequested);
    }
  }

  // A time that has passed fires at once; no timers disarm it.
  void ArmTimer(uint64_t due_ns) {
    if (due_ns == armed_ns_) return;
    armed_ns_ = due_ns;
    itimerspec when{};
    if (due_ns != kForever) {
      when.it_value.tv_sec = static_cast<time_t>(due_ns / kNsPerSecond);
      when.it_value.tv_nsec = static_cast<long>(due_ns % kNsPerSecond);
    }
    timerfd_settime(fds_.timer.get(), TFD_TIMER_ABSTIME, &when, nullptr);
  }

  void ServeWatches() {
    for (size_t i = kOwnDescriptors; i < polled_.size() && !core_.IsQuitting(); ++i) {
      const pollfd found = polled_[i];
      if (found.revents == 0) continue;
      // An earlier callback may have removed it.
      const auto watch = watches_.find(found.fd);
      if (watch == watches_.end()) continue;
      if ((found.revents & POLLNVAL) != 0) {
        // Closed before it was removed; left in, it would keep the loop spinning.
        LogError("message loop: a watched descriptor was closed");
        watches_.erase(watch);
        continue;
      }
      const auto callback = watch->second.callback;
      handler_in_watch_ = handler_;
      (*callback)(found.revents);
      handler_in_watch_ = nullptr;
    }
  }

  static constexpr size_t kOwnDescriptors = 3;

  const Descriptors fds_;
  LoopCore core_;
  const EndingSignals ending_signals_;
  IMessageHandler* handler_ = nullptr;
  std::map<int, Watch> watches_;
  std::vector<pollfd> polled_;  // kept, so that a turn of the loop allocates nothing
  uint64_t armed_ns_ = kForever;
  // The handler while a watch's callback runs, for the thread that runs it.
  static thread_local IMessageHandler* handler_in_watch_;
};

thread_local IMessageHandler* LinuxMessageLoop::handler_in_watch_ = nullptr;

}  // namespace

std::unique_ptr<ILinuxMessageLoop> MakeLinuxMessageLoop(IClock& clock) {
  Descriptors fds;
  fds.wake = FileDescriptor(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
  fds.timer = FileDescriptor(timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK));
  fds.signals = FileDescriptor(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
  if (!fds.wake.valid() || !fds.timer.valid() || !fds.signals.valid()) return nullptr;
  return std::make_unique<LinuxMessageLoop>(clock, std::move(fds));
}

}  // namespace orventa
