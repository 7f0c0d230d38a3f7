#include "tests/fakes/fake_clock.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace orventa {
namespace {

TEST(FakeClock, ThreadsRunInOrderOfTheirDeadlines) {
  FakeClock clock;
  std::vector<std::string> seen;
  const uint64_t start = clock.SteadyNs();
  const auto tick = [&](const char* name, uint64_t period, int times) {
    return [&, name, period, times] {
      for (int i = 1; i <= times; ++i) {
        clock.SleepUntil(start + period * static_cast<uint64_t>(i));
        seen.push_back(name + std::to_string(clock.SteadyNs() - start));
      }
    };
  };
  const auto a = clock.StartThread("a", ThreadPriority::Normal, tick("a", 20, 3));
  const auto b = clock.StartThread("b", ThreadPriority::Normal, tick("b", 30, 2));
  clock.At(start + 60, [&] { seen.push_back("callback60"); });
  clock.RunUntil(start + 59);
  EXPECT_EQ(seen, (std::vector<std::string>{"a20", "b30", "a40"}));
  clock.RunFor(1);
  EXPECT_EQ(seen, (std::vector<std::string>{"a20", "b30", "a40", "callback60", "b60", "a60"}));
  EXPECT_EQ(clock.RunningThreads(), 0u);
}

TEST(FakeClock, AWaitEndsAtTheNotificationOrTheDeadline) {
  FakeClock clock;
  const uint64_t start = clock.SteadyNs();
  Mutex mutex;
  const auto point = clock.MakeWaitPoint();
  bool flag = false;
  uint64_t saw_flag_at = 0;
  const auto thread = clock.StartThread("waiter", ThreadPriority::Normal, [&] {
    const MutexLock lock(mutex);
    while (!flag) point->Wait(mutex, kForever);
    saw_flag_at = clock.SteadyNs() - start;
  });
  {
    const MutexLock lock(mutex);
    point->Wait(mutex, start + 5);
  }
  EXPECT_EQ(clock.SteadyNs(), start + 5);
  clock.After(7, [&] {
    const MutexLock lock(mutex);
    flag = true;
    point->NotifyAll();
  });
  thread->Join();
  EXPECT_EQ(saw_flag_at, 12u);
}

TEST(FakeClock, SleepOfTheMachineStopsTheSessionAndNotTheWall) {
  for (const bool steady_runs : {false, true}) {
    FakeClock clock;
    clock.SetSteadyRunsInSleep(steady_runs);
    const uint64_t steady = clock.SteadyNs();
    const uint64_t session = clock.SessionNs();
    const int64_t wall = clock.WallMs();
    uint64_t woke_at = 0;
    const auto sleeper = clock.StartThread("sleeper", ThreadPriority::Normal, [&] {
      clock.SleepUntil(steady + 2 * kNsPerSecond);
      woke_at = clock.SteadyNs();
    });
    clock.RunFor(kNsPerSecond);
    clock.SuspendFor(60 * kNsPerSecond);
    sleeper->Join();
    const uint64_t awake_seconds = steady_runs ? 1 : 2;
    EXPECT_EQ(clock.SessionNs() - session, awake_seconds * kNsPerSecond);
    EXPECT_EQ(woke_at - steady, (steady_runs ? 61 : 2) * kNsPerSecond);
    EXPECT_EQ(clock.WallMs() - wall, static_cast<int64_t>(awake_seconds + 60) * 1000);
    EXPECT_EQ(clock.SuspendedNs(), 60 * kNsPerSecond);
  }
}

TEST(FakeClock, WallTimeReadsAsDates) {
  FakeClock clock;
  const auto shown = [&](int64_t ms) {
    const LocalTime t = clock.ToLocal(ms);
    char text[64];
    std::snprintf(text, sizeof text, "%04d-%02d-%02d %02d:%02d:%02d.%03d", t.year, t.month, t.day,
                  t.hour, t.minute, t.second, t.millisecond);
    return std::string(text);
  };
  EXPECT_EQ(shown(FakeClock::kWallStartMs), "2024-05-17 12:00:00.000");
  EXPECT_EQ(shown(951'827'696'789), "2000-02-29 12:34:56.789");
  EXPECT_EQ(shown(-1), "1969-12-31 23:59:59.999");
  clock.SetZone(-90);
  EXPECT_EQ(shown(1'735'693'200'000), "2024-12-31 23:30:00.000");
  clock.SetWallMs(1'000);
  clock.RunFor(kNsPerSecond);
  EXPECT_EQ(clock.WallMs(), 2'000);
}

TEST(FakeClockDeathTest, SaysWhoWaitsForEver) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  EXPECT_DEATH(
      {
        FakeClock clock;
        Mutex mutex;
        const auto point = clock.MakeWaitPoint();
        const auto thread = clock.StartThread("stuck one", ThreadPriority::Normal, [&] {
          const MutexLock lock(mutex);
          point->Wait(mutex, kForever);
        });
        thread->Join();
      },
      "'the test' sleeps for the end of stuck one\\s*'stuck one' waits");
  EXPECT_DEATH(
      {
        FakeClock clock;
        new std::unique_ptr<IThread>(clock.StartThread("left over", ThreadPriority::Normal,
                                                       [&] { clock.SleepUntil(kForever - 1); }));
      },
      "the clock ends before its threads have been joined");
}

}  // namespace
}  // namespace orventa
