#include <poll.h>
#include <signal.h>

#include "base/base_linux/message_loop.h"
#include "base/base_linux/posix.h"
#include "tests/base/message_loop_suite.h"

namespace orventa {
namespace {

class LinuxLoopUnderTest final : public LoopUnderTest {
 public:
  IClock& clock() override { return *clock_; }
  ILinuxMessageLoop& loop() override { return *loop_; }
  void Raise(SystemEvent event) override { loop_->InjectSystemEvent(event); }

 private:
  const std::unique_ptr<IClock> clock_ = MakeSystemClock();
  const std::unique_ptr<ILinuxMessageLoop> loop_ = MakeLinuxMessageLoop(*clock_);
};

std::unique_ptr<LoopUnderTest> MakeLinux() {
  return std::make_unique<LinuxLoopUnderTest>();
}

INSTANTIATE_TEST_SUITE_P(Linux, MessageLoopSuite, testing::Values(&MakeLinux));

class Handler : public IMessageHandler {
 public:
  void OnMessage(Message message) override {
    if (on_message) on_message(message.id);
  }
  void OnTimer(uint32_t) override {}
  void OnSystemEvent(SystemEvent event) override { events.push_back(event); }

  std::function<void(uint32_t)> on_message;
  std::vector<SystemEvent> events;
};

struct Pipe {
  Pipe() {
    int ends[2] = {-1, -1};
    if (pipe2(ends, O_CLOEXEC | O_NONBLOCK) != 0) std::abort();
    read_end = FileDescriptor(ends[0]);
    write_end = FileDescriptor(ends[1]);
  }
  void Put() {
    const char byte = 'x';
    EXPECT_EQ(write(write_end.get(), &byte, 1), 1);
  }
  void Take() {
    char byte = 0;
    EXPECT_EQ(read(read_end.get(), &byte, 1), 1);
  }
  FileDescriptor read_end;
  FileDescriptor write_end;
};

TEST(LinuxMessageLoop, ServesWatchedDescriptorsUntilTheyAreRemoved) {
  LinuxLoopUnderTest under_test;
  auto& loop = under_test.loop();
  Pipe first;
  Pipe second;
  Handler handler;
  int first_calls = 0;
  int second_calls = 0;
  loop.AddWatch(first.read_end.get(), POLLIN, [&](short found) {
    EXPECT_EQ(found, POLLIN);
    first.Take();
    if (++first_calls < 3) return first.Put();
    // The event reaches the handler before the call returns, so that a lock that
    // holds the machine's sleep back can be let go afterwards.
    loop.InjectSystemEvent(SystemEvent::Suspending);
    EXPECT_EQ(handler.events, std::vector{SystemEvent::Suspending});
    loop.RemoveWatch(first.read_end.get());
    first.Put();
    loop.ChangeWatch(second.read_end.get(), POLLIN);
  });
  loop.AddWatch(second.read_end.get(), 0, [&](short) {
    EXPECT_EQ(first_calls, 3);
    second.Take();
    ++second_calls;
    loop.Quit();
  });
  first.Put();
  second.Put();
  loop.Run(handler);
  EXPECT_EQ(first_calls, 3);
  EXPECT_EQ(second_calls, 1);
}

TEST(LinuxMessageLoop, SurvivesADescriptorThatWasClosedUnderIt) {
  LinuxLoopUnderTest under_test;
  auto& loop = under_test.loop();
  Handler handler;
  Pipe gone;
  loop.AddWatch(gone.read_end.get(), POLLIN, [&](short) { ADD_FAILURE(); });
  gone.read_end.Reset();
  handler.on_message = [&](uint32_t id) {
    if (id == 2) return loop.Quit();
    EXPECT_TRUE(loop.Post({.id = 2, .value = 0, .record = nullptr}));
  };
  EXPECT_TRUE(loop.Post({.id = 1, .value = 0, .record = nullptr}));
  loop.Run(handler);
}

TEST(LinuxMessageLoop, EndingSignalsAskForTheOrdinaryEnd) {
  for (const int signal_number : {SIGTERM, SIGINT, SIGHUP}) {
    SCOPED_TRACE(signal_number);
    struct sigaction before {};
    ASSERT_EQ(sigaction(signal_number, nullptr, &before), 0);
    {
      LinuxLoopUnderTest under_test;
      auto& loop = under_test.loop();
      Handler handler;
      handler.on_message = [&](uint32_t) {
        if (!handler.events.empty()) return loop.Quit();
        under_test.clock().SleepUntil(under_test.clock().SteadyNs() + kNsPerMs);
        EXPECT_TRUE(loop.Post({.id = 1, .value = 0, .record = nullptr}));
      };
      ASSERT_EQ(raise(signal_number), 0);
      EXPECT_TRUE(loop.Post({.id = 1, .value = 0, .record = nullptr}));
      loop.Run(handler);
      EXPECT_EQ(handler.events, std::vector{SystemEvent::CloseRequested});
    }
    struct sigaction after {};
    ASSERT_EQ(sigaction(signal_number, nullptr, &after), 0);
    EXPECT_EQ(after.sa_handler, before.sa_handler);
  }
}

TEST(LinuxMessageLoop, LeavesAnIgnoredSignalIgnored) {
  struct sigaction ignore {};
  ignore.sa_handler = SIG_IGN;
  struct sigaction before {};
  ASSERT_EQ(sigaction(SIGHUP, &ignore, &before), 0);
  {
    LinuxLoopUnderTest under_test;
    Handler handler;
    ASSERT_EQ(raise(SIGHUP), 0);
    handler.on_message = [&](uint32_t) { under_test.loop().Quit(); };
    EXPECT_TRUE(under_test.loop().Post({.id = 1, .value = 0, .record = nullptr}));
    under_test.loop().Run(handler);
    EXPECT_TRUE(handler.events.empty());
  }
  ASSERT_EQ(sigaction(SIGHUP, &before, nullptr), 0);
}

}  // namespace
}  // namespace orventa
