#include "tests/base/message_loop_suite.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <thread>
#include <utility>
#include <vector>

namespace orventa {
namespace {

// Longer than any of these tests; a timer of this period does not fire.
constexpr uint32_t kNeverMs = 3'600'000;
// A test that fails must end all the same.
constexpr uint32_t kGiveUpMs = 20'000;

struct CountedRecord final : MessageRecord {
  explicit CountedRecord(std::atomic<int>& alive) : alive_(alive) { ++alive_; }
  ~CountedRecord() override { --alive_; }
  std::atomic<int>& alive_;
};

// A condition that one thread waits for and another one makes true.
class Flag {
 public:
  explicit Flag(IClock& clock) : clock_(clock), point_(clock.MakeWaitPoint()) {}
  void Raise() {
    const MutexLock lock(mutex_);
    raised_ = true;
    point_->NotifyAll();
  }
  bool Wait() {
    const uint64_t until_ns = clock_.SteadyNs() + kGiveUpMs * kNsPerMs;
    const MutexLock lock(mutex_);
    while (!raised_ && clock_.SteadyNs() < until_ns) point_->Wait(mutex_, until_ns);
    return raised_;
  }

 private:
  IClock& clock_;
  Mutex mutex_;
  const std::unique_ptr<IWaitPoint> point_;
  bool raised_ ORVENTA_GUARDED_BY(mutex_) = false;
};

}  // namespace

std::unique_ptr<IThread> MessageLoopSuite::Start(std::function<void()> body) {
  return clock().StartThread("poster", ThreadPriority::Normal, std::move(body));
}

bool MessageLoopSuite::PostId(uint32_t id, uint64_t value) {
  return loop().Post({.id = id, .value = value, .record = nullptr});
}

void MessageLoopSuite::OnMessage(Message message) {
  if (message.id == kQuit) return loop().Quit();
  on_message_(std::move(message));
}

// Promises 1 to 3.
TEST_P(MessageLoopSuite, HandlesOnOneThreadInOrderSeeingWhatWasWritten) {
  constexpr uint64_t kCount = 300;
  constexpr uint32_t kPosters = 3;
  std::array<std::array<uint64_t, kCount>, kPosters> written{};
  std::array<uint64_t, kPosters> next{};
  const auto runner = std::this_thread::get_id();
  int depth = 0;
  uint64_t handled = 0;
  on_message_ = [&](const Message& message) {
    EXPECT_EQ(std::this_thread::get_id(), runner);
    EXPECT_EQ(++depth, 1);
    EXPECT_EQ(message.value, next[message.id]++);
    EXPECT_EQ(written[message.id][message.value], message.value + 7);
    if (++handled == kCount * kPosters) loop().Quit();
    --depth;
  };
  std::vector<std::unique_ptr<IThread>> posters;
  for (uint32_t id = 0; id < kPosters; ++id) {
    posters.push_back(Start([&, id] {
      for (uint64_t i = 0; i < kCount; ++i) {
        written[id][i] = i + 7;
        EXPECT_TRUE(PostId(id, i));
        if (i % 50 == 0) SleepMs(1);
      }
    }));
  }
  Run();
  EXPECT_EQ(handled, kCount * kPosters);
}

// Promise 4: all of these return while the handler is at work.
TEST_P(MessageLoopSuite, TakesCallsWhileAHandlerIsAtWork) {
  Flag posted(clock());
  Flag in_handler(clock());
  std::vector<uint32_t> seen;
  int close_requests = 0;
  on_message_ = [&](const Message& message) {
    seen.push_back(message.id);
    if (message.id != 1) return;
    in_handler.Raise();
    EXPECT_TRUE(posted.Wait());
    EXPECT_TRUE(PostId(3));
  };
  on_event_ = [&](SystemEvent event) {
    close_requests += event == SystemEvent::CloseRequested ? 1 : 0;
    EXPECT_TRUE(PostId(kQuit));
  };
  ASSERT_TRUE(PostId(1));
  const auto poster = Start([&] {
    EXPECT_TRUE(in_handler.Wait());
    for (int i = 0; i < 5000; ++i) EXPECT_TRUE(PostId(2));
    loop().Close();
    posted.Raise();
  });
  Run();
  EXPECT_EQ(close_requests, 1);
  ASSERT_EQ(seen.size(), 5002u);
  EXPECT_EQ(seen.front(), 1u);
  EXPECT_EQ(seen.back(), 3u);
}

// Promise 5.
TEST_P(MessageLoopSuite, DestroysWhatStillWaitsAtTheEnd) {
  std::atomic<int> alive{0};
  int handled = 0;
  on_message_ = [&](const Message& message) {
    ++handled;
    EXPECT_NE(message.record, nullptr);
    loop().Quit();
  };
  for (int i = 0; i < 4; ++i) {
    ASSERT_TRUE(
        loop().Post({.id = 1, .value = 0, .record = std::make_unique<CountedRecord>(alive)}));
  }
  EXPECT_EQ(alive, 4);
  Run();
  EXPECT_EQ(handled, 1);
  const int waiting = alive;
  EXPECT_FALSE(
      loop().Post({.id = 2, .value = 0, .record = std::make_unique<CountedRecord>(alive)}));
  EXPECT_EQ(alive, waiting);
  EXPECT_FALSE(loop().RespondsWithin(kGiveUpMs));
  under_test_.reset();
  EXPECT_EQ(alive, 0);
}

TEST_P(MessageLoopSuite, QuitFromAnotherThreadEndsAnIdleLoop) {
  const auto other = Start([&] {
    EXPECT_TRUE(loop().RespondsWithin(kGiveUpMs));
    loop().Quit();
  });
  Run();
}

// Promise 6.
TEST_P(MessageLoopSuite, ATimerThatFellDueOftenIsHandledOnce) {
  constexpr uint32_t kPeriodMs = 20;
  int fired = 0;
  uint64_t free_since_ns = 0;
  bool enough = false;
  loop().SetTimer(1, kPeriodMs);
  on_timer_ = [&](uint32_t id) {
    EXPECT_EQ(id, 1u);
    if (++fired == 1) {
      SleepMs(10 * kPeriodMs);
      free_since_ns = NowNs();
      return;
    }
    // However long this took: one for what was missed, and one for every period.
    const uint64_t periods_since = (NowNs() - free_since_ns) / (kPeriodMs * kNsPerMs);
    EXPECT_LE(fired - 1, static_cast<int>(periods_since) + 2);
    if (fired == 4 && !std::exchange(enough, true)) loop().Quit();
  };
  Run();
}

// Promise 6: neither a flood of messages nor a timer that is always due keeps the
// other waiting.
TEST_P(MessageLoopSuite, MessagesAndTimersTakeTurns) {
  int messages = 0;
  int timers = 0;
  on_message_ = [&](const Message& message) {
    ++messages;
    SleepMs(2);
    EXPECT_TRUE(PostId(message.id));
    if (timers >= 3 && messages >= 3) loop().Quit();
    if (messages == 500) loop().Quit();
  };
  on_timer_ = [&](uint32_t) {
    ++timers;
    SleepMs(2);
    if (timers == 500) loop().Quit();
  };
  loop().SetTimer(1, 1);
  ASSERT_TRUE(PostId(1));
  Run();
  EXPECT_GE(messages, 3);
  EXPECT_GE(timers, 3);
}

// Promise 7.
TEST_P(MessageLoopSuite, AClearedOrRestartedTimerKeepsQuietThoughItWasDue) {
  std::vector<uint32_t> fired;
  on_timer_ = [&](uint32_t id) {
    fired.push_back(id);
    // Everything that was due with the first one has fired by the second.
    if (std::count(fired.begin(), fired.end(), 3U) == 2) loop().Quit();
  };
  on_message_ = [&](const Message&) {
    loop().SetTimer(1, 5);
    loop().SetTimer(2, 5);
    loop().SetTimer(3, 30);
    SleepMs(25);
    loop().ClearTimer(1);
    loop().ClearTimer(77);
    loop().SetTimer(2, kNeverMs);
  };
  ASSERT_TRUE(PostId(1));
  Run();
  EXPECT_EQ(fired, (std::vector<uint32_t>{3, 3}));
}

// Promise 8.
TEST_P(MessageLoopSuite, GoesOnServingWhileAMenuIsOpen) {
  if (!under_test_->HasMenuLoops()) GTEST_SKIP() << "menus have no loop of their own here";
  bool menu_open = false;
  int messages_in_menu = 0;
  int timers_in_menu = 0;
  bool event_in_menu = false;
  bool responded = false;
  on_timer_ = [&](uint32_t) { timers_in_menu += menu_open ? 1 : 0; };
  on_event_ = [&](SystemEvent event) {
    event_in_menu = event_in_menu || (menu_open && event == SystemEvent::DisplaysChanged);
  };
  on_message_ = [&](const Message& message) {
    if (message.id == 2) {
      messages_in_menu += menu_open ? 1 : 0;
      return;
    }
    if (message.id == 3) {
      responded = true;
      return;
    }
    loop().SetTimer(1, 10);
    menu_open = true;
    under_test_->RunMenuUntil([&] {
      return messages_in_menu == 100 && timers_in_menu >= 2 && event_in_menu && responded;
    });
    menu_open = false;
    EXPECT_TRUE(PostId(kQuit));
  };
  ASSERT_TRUE(PostId(1));
  const auto poster = Start([&] {
    SleepMs(50);
    for (int i = 0; i < 100; ++i) EXPECT_TRUE(PostId(2));
    under_test_->Raise(SystemEvent::DisplaysChanged);
    if (loop().RespondsWithin(kGiveUpMs)) (void)PostId(3);
  });
  Run();
  poster->Join();
  EXPECT_EQ(messages_in_menu, 100);
  EXPECT_GE(timers_in_menu, 2);
  EXPECT_TRUE(event_in_menu);
  EXPECT_TRUE(responded);
}

TEST_P(MessageLoopSuite, ToldWhenItDoesNotRespond) {
  Flag in_handler(clock());
  Flag asked(clock());
  on_message_ = [&](const Message& message) {
    if (message.id != 1) return;
    in_handler.Raise();
    EXPECT_TRUE(asked.Wait());
  };
  ASSERT_TRUE(PostId(1));
  const auto asker = Start([&] {
    EXPECT_TRUE(in_handler.Wait());
    EXPECT_FALSE(loop().RespondsWithin(60));
    asked.Raise();
    EXPECT_TRUE(loop().RespondsWithin(kGiveUpMs));
    loop().Quit();
  });
  Run();
}

TEST_P(MessageLoopSuite, PassesTheDesktopsEventsOn) {
  const std::vector<SystemEvent> raised = {
      SystemEvent::Suspending,     SystemEvent::Resumed,       SystemEvent::DisplaysChanged,
      SystemEvent::ThemeChanged,   SystemEvent::VolumeArrived, SystemEvent::TrayRebuilt,
      SystemEvent::CloseRequested, SystemEvent::SessionEnding};
  std::vector<SystemEvent> seen;
  on_event_ = [&](SystemEvent event) {
    seen.push_back(event);
    if (seen.size() == raised.size()) loop().Quit();
  };
  const auto raiser = Start([&] {
    for (const SystemEvent event : raised) under_test_->Raise(event);
  });
  Run();
  EXPECT_EQ(seen, raised);
}

}  // namespace orventa
