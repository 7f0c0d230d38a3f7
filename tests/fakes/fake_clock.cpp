#include "tests/fakes/fake_clock.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <utility>

namespace orventa {
namespace {

// Far more turns than any test takes at one moment of virtual time.
constexpr uint64_t kMaxPassesAtOneTime = 2'000'000;

constexpr int64_t kMsPerDay = 24 * 60 * 60 * 1000;

int64_t FloorDivide(int64_t value, int64_t by) {
  return value / by - (value % by < 0 ? 1 : 0);
}

// Year, month and day by counting days from the first of March of the year 0, so
// that the leap day is a year's last.
LocalTime DateOfDay(int64_t days_since_1970) {
  const int64_t days = days_since_1970 + 719'468;
  const int64_t era = FloorDivide(days, 146'097);
  const int64_t day_of_era = days - era * 146'097;
  const int64_t year_of_era =
      (day_of_era - day_of_era / 1460 + day_of_era / 36'524 - day_of_era / 146'096) / 365;
  const int64_t day_of_year =
      day_of_era - (365 * year_of_era + year_of_era / 4 - year_of_era / 100);
  const int64_t month_from_march = (5 * day_of_year + 2) / 153;
  LocalTime date;
  date.day = static_cast<int>(day_of_year - (153 * month_from_march + 2) / 5 + 1);
  date.month =
      static_cast<int>(month_from_march < 10 ? month_from_march + 3 : month_from_march - 9);
  date.year = static_cast<int>(year_of_era + era * 400 + (date.month <= 2 ? 1 : 0));
  return date;
}

}  // namespace

class FakeClock::WaitPoint final : public IWaitPoint {
 public:
  explicit WaitPoint(FakeClock& clock) : clock_(clock) {}
  ~WaitPoint() override {
    const Lock lock(clock_.mutex_);
    for (const Participant* waiter : clock_.waiting_) {
      if (waiter->wait_point == this) {
        clock_.Fail("a wait point is destroyed while '" + waiter->name + "' waits on it");
      }
    }
  }

  void Wait(Mutex& mutex, uint64_t until_steady_ns) override ORVENTA_NO_TSA {
    {
      Lock lock(clock_.mutex_);
      Participant& self = clock_.Self("waits");
      self.wait_point = this;
      mutex.Unlock();
      clock_.Wait(lock, self, until_steady_ns);
    }
    mutex.Lock();
  }

  void NotifyAll() override {
    const Lock lock(clock_.mutex_);
    clock_.MakeReadyIf([this](const Participant& waiter) { return waiter.wait_point == this; });
  }

 private:
  FakeClock& clock_;
};

class FakeClock::Thread final : public IThread {
 public:
  Thread(FakeClock& clock, Participant& participant, std::function<void()> body)
      : clock_(clock),
        participant_(participant),
        thread_([this, body = std::move(body)]() mutable { Main(std::move(body)); }) {}
  ~Thread() override { Thread::Join(); }

  void Join() override {
    if (joined_) return;
    {
      Lock lock(clock_.mutex_);
      Participant& self = clock_.Self("joins");
      if (&self == &participant_) clock_.Fail("'" + self.name + "' joins itself");
      if (participant_.state != State::Ended) {
        self.joins = &participant_;
        clock_.Wait(lock, self, kForever);
      }
    }
    thread_.join();
    joined_ = true;
    const Lock lock(clock_.mutex_);
    clock_.participants_.remove_if(
        [this](const Participant& other) { return &other == &participant_; });
  }

  bool IsCurrent() const override { return thread_.get_id() == std::this_thread::get_id(); }

 private:
  void Main(std::function<void()> body) noexcept {
    {
      Lock lock(clock_.mutex_);
      clock_.Bind(participant_);
      clock_.WaitTurn(lock, participant_);
    }
    body();
    body = nullptr;
    const Lock lock(clock_.mutex_);
    participant_.state = State::Ended;
    clock_.bound_.erase(std::this_thread::get_id());
    clock_.MakeReadyIf([this](const Participant& other) { return other.joins == &participant_; });
    clock_.PassOn();
  }

  FakeClock& clock_;
  Participant& participant_;
  bool joined_ = false;
  std::thread thread_;  // last: it uses the others
};

FakeClock::FakeClock() {
  const Lock lock(mutex_);
  Participant& maker = Add("the test");
  maker.state = State::Running;
  Bind(maker);
}

FakeClock::~FakeClock() {
  if (callback_thread_ != nullptr) {
    {
      const Lock lock(mutex_);
      ending_ = true;
      MakeReadyIf([this](const Participant& other) { return &other == callback_participant_; });
    }
    callback_thread_.reset();
  }
  const Lock lock(mutex_);
  const bool all_ended =
      std::all_of(participants_.begin(), participants_.end(),
                  [this](const Participant& other) { return &other == &participants_.front(); });
  if (!all_ended) Fail("the clock ends before its threads have been joined");
}

uint64_t FakeClock::SteadyNs() const {
  const Lock lock(mutex_);
  return steady_ns_;
}

uint64_t FakeClock::SessionNs() const {
  const Lock lock(mutex_);
  return steady_ns_ - slept_in_steady_ns_ - kSteadyStartNs + kSessionStartNs;
}

uint64_t FakeClock::SuspendedNs() const {
  const Lock lock(mutex_);
  return suspended_ns_ + suspended_error_ns_;
}

int64_t FakeClock::WallMs() const {
  const Lock lock(mutex_);
  const uint64_t passed_ns = steady_ns_ - slept_in_steady_ns_ - kSteadyStartNs + suspended_ns_;
  return kWallStartMs +
         FloorDivide(static_cast<int64_t>(passed_ns) + wall_offset_ns_, int64_t{kNsPerMs});
}

LocalTime FakeClock::ToLocal(int64_t wall_ms) const {
  const Lock lock(mutex_);
  const int64_t local_ms = wall_ms + int64_t{zone_minutes_} * 60 * 1000;
  const int64_t day = FloorDivide(local_ms, kMsPerDay);
  const auto ms_of_day = static_cast<int>(local_ms - day * kMsPerDay);
  LocalTime local = DateOfDay(day);
  local.hour = ms_of_day / 3'600'000;
  local.minute = ms_of_day / 60'000 % 60;
  local.second = ms_of_day / 1000 % 60;
  local.millisecond = ms_of_day % 1000;
  return local;
}

void FakeClock::SleepUntil(uint64_t steady_ns) {
  Lock lock(mutex_);
  Wait(lock, Self("sleeps"), steady_ns);
}

std::unique_ptr<IWaitPoint> FakeClock::MakeWaitPoint() {
  return std::make_unique<WaitPoint>(*this);
}

std::unique_ptr<IThread> FakeClock::StartThread(const char* name, ThreadPriority,
                                                std::function<void()> body) {
  return Start(name, false, std::move(body));
}

std::unique_ptr<IThread> FakeClock::Start(const char* name, bool of_clock,
                                          std::function<void()> body) {
  Participant* participant = nullptr;
  {
    const Lock lock(mutex_);
    participant = &Add(name);
    participant->of_clock = of_clock;
    ready_.push_back(participant);
    if (of_clock) callback_participant_ = participant;
  }
  return std::make_unique<Thread>(*this, *participant, std::move(body));
}

std::unique_ptr<void, void (*)(void*)> FakeClock::RaiseTimerResolution() {
  const Lock lock(mutex_);
  ++resolution_holders_;
  return {this, [](void* clock) {
            auto* const self = static_cast<FakeClock*>(clock);
            const Lock release_lock(self->mutex_);
            --self->resolution_holders_;
          }};
}

void FakeClock::RunUntil(uint64_t steady_ns) {
  Lock lock(mutex_);
  Participant& self = Self("runs the clock");
  Wait(lock, self, steady_ns);
  while (!ready_.empty()) GiveTurn(lock, self);
}

void FakeClock::At(uint64_t steady_ns, std::function<void()> callback) {
  bool start = false;
  {
    const Lock lock(mutex_);
    callbacks_.emplace(std::max(steady_ns, steady_ns_), std::move(callback));
    start = callback_participant_ == nullptr;
    // It waits for its first callback; a nearer one is a nearer deadline.
    if (!start && callback_participant_->state == State::Waiting) {
      callback_participant_->deadline_ns = callbacks_.begin()->first;
      MakeDueReady();
    }
  }
  if (start) callback_thread_ = Start("the clock", true, [this] { RunCallbacks(); });
}

void FakeClock::RunCallbacks() {
  Lock lock(mutex_);
  Participant& self = Self("calls back");
  while (!ending_) {
    if (callbacks_.empty() || callbacks_.begin()->first > steady_ns_) {
      Wait(lock, self, callbacks_.empty() ? kForever : callbacks_.begin()->first);
      continue;
    }
    const std::function<void()> callback = std::move(callbacks_.begin()->second);
    callbacks_.erase(callbacks_.begin());
    lock.unlock();
    callback();
    lock.lock();
  }
}

void FakeClock::SuspendFor(uint64_t ns) {
  const Lock lock(mutex_);
  suspended_ns_ += ns;
  if (!steady_runs_in_sleep_) return;
  steady_ns_ += ns;
  slept_in_steady_ns_ += ns;
  passes_since_jump_ = 0;
  MakeDueReady();
}

void FakeClock::SetSteadyRunsInSleep(bool runs) {
  const Lock lock(mutex_);
  steady_runs_in_sleep_ = runs;
}

void FakeClock::SetSuspendedError(uint64_t ns) {
  const Lock lock(mutex_);
  suspended_error_ns_ = ns;
}

void FakeClock::SetWallMs(int64_t wall_ms) {
  const int64_t shown_ms = WallMs();
  const Lock lock(mutex_);
  wall_offset_ns_ += (wall_ms - shown_ms) * int64_t{kNsPerMs};
}

void FakeClock::SetZone(int minutes_east) {
  const Lock lock(mutex_);
  zone_minutes_ = minutes_east;
}

size_t FakeClock::RunningThreads() const {
  const Lock lock(mutex_);
  size_t running = 0;
  for (const Participant& other : participants_) {
    const bool counts = &other != &participants_.front() && !other.of_clock;
    if (counts && other.state != State::Ended) ++running;
  }
  return running;
}

int FakeClock::TimerResolutionHolders() const {
  const Lock lock(mutex_);
  return resolution_holders_;
}

FakeClock::Participant& FakeClock::Self(const char* doing) {
  const auto found = bound_.find(std::this_thread::get_id());
  if (found == bound_.end()) {
    Fail(std::string("a thread that was not started through the clock ") + doing + " in it");
  }
  return *found->second;
}

FakeClock::Participant& FakeClock::Add(std::string name) {
  Participant& participant = participants_.emplace_back();
  participant.name = std::move(name);
  return participant;
}

void FakeClock::Bind(Participant& participant) {
  bound_[std::this_thread::get_id()] = &participant;
}

void FakeClock::MakeReady(Participant& participant) {
  participant.state = State::Ready;
  participant.deadline_ns = kForever;
  participant.wait_point = nullptr;
  participant.joins = nullptr;
  if (participant.of_clock) {
    ready_.push_front(&participant);
  } else {
    ready_.push_back(&participant);
  }
}

template <typename Test>
void FakeClock::MakeReadyIf(Test test) {
  for (auto waiter = waiting_.begin(); waiter != waiting_.end();) {
    if (test(**waiter)) {
      MakeReady(**waiter);
      waiter = waiting_.erase(waiter);
    } else {
      ++waiter;
    }
  }
}

void FakeClock::WaitTurn(Lock& lock, Participant& self) {
  self.turn.wait(lock, [&] { return self.state == State::Running; });
}

void FakeClock::GiveTurn(Lock& lock, Participant& self) {
  MakeReady(self);
  PassOn();
  WaitTurn(lock, self);
}

void FakeClock::Wait(Lock& lock, Participant& self, uint64_t deadline_ns) {
  if (deadline_ns <= steady_ns_) return GiveTurn(lock, self);
  self.state = State::Waiting;
  self.deadline_ns = deadline_ns;
  waiting_.push_back(&self);
  PassOn();
  WaitTurn(lock, self);
}

void FakeClock::PassOn() {
  if (++passes_since_jump_ > kMaxPassesAtOneTime) Fail("the threads wake each other for ever");
  if (ready_.empty()) JumpToNextDeadline();
  Participant* const next = ready_.front();
  ready_.pop_front();
  next->state = State::Running;
  next->turn.notify_one();
}

void FakeClock::JumpToNextDeadline() {
  uint64_t earliest_ns = kForever;
  for (const Participant* waiter : waiting_) {
    earliest_ns = std::min(earliest_ns, waiter->deadline_ns);
  }
  if (earliest_ns == kForever) Fail("all threads wait for ever");
  steady_ns_ = earliest_ns;
  passes_since_jump_ = 0;
  MakeDueReady();
}

void FakeClock::MakeDueReady() {
  MakeReadyIf([this](const Participant& waiter) { return waiter.deadline_ns <= steady_ns_; });
}

void FakeClock::Fail(const std::string& why) const {
  std::fprintf(stderr, "fake clock: %s, at %llu ns\n", why.c_str(),
               static_cast<unsigned long long>(steady_ns_));
  for (const Participant& other : participants_) {
    const char* doing = "waits to run";
    if (other.state == State::Running) doing = "runs";
    if (other.state == State::Ended) doing = "has ended";
    if (other.state == State::Waiting) doing = other.wait_point ? "waits" : "sleeps";
    std::fprintf(stderr, "  '%s' %s%s%s\n", other.name.c_str(), doing,
                 other.joins == nullptr ? "" : " for the end of ",
                 other.joins == nullptr ? "" : other.joins->name.c_str());
  }
  std::fflush(stderr);
  std::abort();
}

}  // namespace orventa
