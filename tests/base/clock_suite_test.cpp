// What every clock promises, held against the fake one and this platform's.

#include <gtest/gtest.h>

#include <vector>

#include "base/base_win/tick_scale.h"
#include "base/clock.h"
#include "tests/fakes/fake_clock.h"

namespace orventa {
namespace {

std::unique_ptr<IClock> MakeFake() {
  return std::make_unique<FakeClock>();
}

using MakeClock = std::unique_ptr<IClock> (*)();

class ClockSuite : public testing::TestWithParam<MakeClock> {
 protected:
  const std::unique_ptr<IClock> clock_ = GetParam()();
};

TEST_P(ClockSuite, ASleepEndsNoEarlierThanAsked) {
  const uint64_t session = clock_->SessionNs();
  const int64_t wall = clock_->WallMs();
  const uint64_t start = clock_->SteadyNs();
  const auto finer = clock_->RaiseTimerResolution();
  for (uint64_t step = 1; step <= 5; ++step) {
    const uint64_t until = start + step * 3 * kNsPerMs + 1234;
    clock_->SleepUntil(until);
    EXPECT_GE(clock_->SteadyNs(), until);
  }
  clock_->SleepUntil(start);
  clock_->SleepUntil(0);
  // The session clock may tick more coarsely.
  EXPECT_GE(clock_->SessionNs() + 16 * kNsPerMs, session + 15 * kNsPerMs);
  EXPECT_GE(clock_->WallMs(), wall);
}

TEST_P(ClockSuite, AWaitEndsAtItsDeadlineOrTheNotification) {
  Mutex mutex;
  const auto point = clock_->MakeWaitPoint();
  {
    const MutexLock lock(mutex);
    const uint64_t until = clock_->SteadyNs() + 5 * kNsPerMs;
    while (clock_->SteadyNs() < until) point->Wait(mutex, until);
    point->Wait(mutex, 0);
  }
  int awake = 0;
  bool go = false;
  std::vector<std::unique_ptr<IThread>> threads;
  for (const uint64_t until : {kForever, kForever - 1, clock_->SteadyNs() + 900 * kNsPerSecond}) {
    threads.push_back(clock_->StartThread("waiter", ThreadPriority::Normal, [&, until] {
      const MutexLock lock(mutex);
      while (!go) point->Wait(mutex, until);
      ++awake;
    }));
  }
  clock_->SleepUntil(clock_->SteadyNs() + 10 * kNsPerMs);
  {
    const MutexLock lock(mutex);
    EXPECT_EQ(awake, 0);
    go = true;
    point->NotifyAll();
  }
  for (const auto& thread : threads) thread->Join();
  EXPECT_EQ(awake, 3);
}

// Notifications and deadlines meet often here; a lost one would hang.
TEST_P(ClockSuite, NoNotificationIsLostBesideDeadlines) {
  constexpr int kRounds = 300;
  Mutex mutex;
  const auto point = clock_->MakeWaitPoint();
  int turn = 0;
  const auto play = [&](int mine) {
    for (int round = 0; round < kRounds; ++round) {
      const MutexLock lock(mutex);
      while (turn % 2 != mine) {
        const bool short_wait = round % 3 == 0;
        point->Wait(mutex, short_wait ? clock_->SteadyNs() + 20'000 : kForever);
      }
      ++turn;
      point->NotifyAll();
    }
  };
  const auto other = clock_->StartThread("other", ThreadPriority::FrameClock, [&] { play(1); });
  play(0);
  other->Join();
  EXPECT_EQ(turn, 2 * kRounds);
}

TEST_P(ClockSuite, ThreadsKnowThemselvesAndMayBeJoinedTwice) {
  std::unique_ptr<IThread> thread;
  bool ran = false;
  bool knew_itself = false;
  bool released_there = false;
  Mutex mutex;
  const auto started = clock_->MakeWaitPoint();
  bool stored = false;
  // What the body holds is released by the thread itself, not by whoever joins it.
  std::shared_ptr<int> held(new int(1), [&](const int* value) {
    released_there = thread->IsCurrent();
    delete value;
  });
  thread = clock_->StartThread("a name of more than fifteen characters", ThreadPriority::Background,
                               [&, held = std::move(held)] {
                                 const MutexLock lock(mutex);
                                 while (!stored) started->Wait(mutex, kForever);
                                 knew_itself = thread->IsCurrent();
                                 ran = true;
                               });
  EXPECT_FALSE(thread->IsCurrent());
  {
    const MutexLock lock(mutex);
    stored = true;
    started->NotifyAll();
  }
  thread->Join();
  thread->Join();
  EXPECT_TRUE(ran);
  EXPECT_TRUE(knew_itself);
  EXPECT_TRUE(released_there);
}

TEST_P(ClockSuite, SuspendedTimeStandsWhileTheMachineIsAwake) {
  const uint64_t before = clock_->SuspendedNs();
  clock_->SleepUntil(clock_->SteadyNs() + 5 * kNsPerMs);
  const uint64_t after = clock_->SuspendedNs();
  constexpr uint64_t kCoarsestTickNs = 40 * kNsPerMs;
  EXPECT_LE(after > before ? after - before : before - after, kCoarsestTickNs);
}

INSTANTIATE_TEST_SUITE_P(Fake, ClockSuite, testing::Values(&MakeFake));
INSTANTIATE_TEST_SUITE_P(System, ClockSuite, testing::Values(&MakeSystemClock));

TEST(SystemClock, LocalTimeHasAllItsParts) {
  const auto clock = MakeSystemClock();
  // Zones lie on quarters of an hour, so the rest is the same everywhere.
  const LocalTime time = clock->ToLocal(951'827'696'789);  // 2000-02-29 12:34:56.789 UTC
  EXPECT_EQ(time.year, 2000);
  EXPECT_TRUE((time.month == 2 && time.day >= 28) || (time.month == 3 && time.day == 1));
  EXPECT_EQ(time.minute % 15, 34 % 15);
  EXPECT_EQ(time.second, 56);
  EXPECT_EQ(time.millisecond, 789);
}

TEST(TickScale, IsExactAtEveryFrequency) {
  const uint64_t kFrequencies[] = {10'000'000,    24'000'000,    3'579'545, 19'200'000,
                                   1'000'000'000, 2'994'375'000, 1};
  for (const uint64_t frequency : kFrequencies) {
    for (const uint64_t seconds :
         {uint64_t{0}, uint64_t{1}, uint64_t{86'399}, uint64_t{300'000'000}}) {
      for (const uint64_t rest : {uint64_t{0}, uint64_t{1}, frequency / 3, frequency - 1}) {
        if (rest >= frequency) continue;
        const uint64_t ticks = seconds * frequency + rest;
        // The rest by long division, digit by digit of nine decimal places.
        uint64_t expected = seconds;
        uint64_t remainder = rest;
        for (int digit = 0; digit < 9; ++digit) {
          remainder *= 10;
          expected = expected * 10 + remainder / frequency;
          remainder %= frequency;
        }
        EXPECT_EQ(TicksToNs(ticks, frequency), expected) << ticks << " at " << frequency;
      }
    }
  }
}

}  // namespace
}  // namespace orventa
