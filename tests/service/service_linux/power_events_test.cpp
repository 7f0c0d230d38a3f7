// Against a stand-in for logind on a message bus of the test's own.
#include "service/service_linux/power_events.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <systemd/sd-bus.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "tests/fakes/temp_folder.h"

namespace orventa {
namespace {

constexpr char kPath[] = "/org/freedesktop/login1";
constexpr char kManager[] = "org.freedesktop.login1.Manager";

class PrivateBus {
 public:
  PrivateBus() : address_("unix:path=" + folder_ / "bus") {
    std::string option = "--address=" + address_;
    char program[] = "dbus-daemon";
    char session[] = "--session";
    char nofork[] = "--nofork";
    char* arguments[] = {program, session, nofork, option.data(), nullptr};
    EXPECT_EQ(posix_spawnp(&daemon_, program, nullptr, nullptr, arguments, environ), 0);
    setenv("DBUS_SYSTEM_BUS_ADDRESS", address_.c_str(), 1);
  }
  ~PrivateBus() {
    unsetenv("DBUS_SYSTEM_BUS_ADDRESS");
    kill(daemon_, SIGKILL);
    waitpid(daemon_, nullptr, 0);
  }
  // Null when the daemon does not come up within ten seconds.
  sd_bus* Connect() const {
    for (int i = 0; i < 500; ++i) {
      sd_bus* bus = nullptr;
      if (sd_bus_open_system(&bus) >= 0) return bus;
      poll(nullptr, 0, 20);
    }
    return nullptr;
  }

 private:
  TempFolder folder_;
  const std::string address_;
  pid_t daemon_ = 0;
};

// Grants every inhibition, and tells of a sleep once the first delay is held, of
// waking once that was let go, and of a shutdown once one is blocked.
class FakeLogind {
 public:
  explicit FakeLogind(sd_bus* bus) : bus_(bus) {
    static const sd_bus_vtable kTable[] = {
        SD_BUS_VTABLE_START(0),
        SD_BUS_METHOD("Inhibit", "ssss", "h", OnInhibit, SD_BUS_VTABLE_UNPRIVILEGED),
        SD_BUS_SIGNAL("PrepareForSleep", "b", 0), SD_BUS_SIGNAL("PrepareForShutdown", "b", 0),
        SD_BUS_VTABLE_END};
    EXPECT_GE(sd_bus_add_object_vtable(bus_, nullptr, kPath, kManager, kTable, this), 0);
    EXPECT_GE(sd_bus_request_name(bus_, "org.freedesktop.login1", 0), 0);
    thread_ = std::thread([this] { Serve(); });
  }
  ~FakeLogind() {
    stop_ = true;
    thread_.join();
    for (const int fd : held_) close(fd);
    sd_bus_flush_close_unref(bus_);
  }

  // Valid once the service's side is gone. What and how, in order.
  std::vector<std::string> asked;
  bool StillHeld(size_t index) const {
    pollfd ends{held_.at(index), 0, 0};
    return poll(&ends, 1, 0) == 0;
  }

 private:
  static int OnInhibit(sd_bus_message* message, void* self, sd_bus_error*) {
    auto& logind = *static_cast<FakeLogind*>(self);
    const char* what = nullptr;
    const char* who = nullptr;
    const char* why = nullptr;
    const char* mode = nullptr;
    sd_bus_message_read(message, "ssss", &what, &who, &why, &mode);
    logind.asked.push_back(std::string(what) + " " + mode + " " + why);
    int ends[2] = {};
    if (pipe2(ends, O_CLOEXEC) != 0) return -1;
    logind.held_.push_back(ends[0]);
    const int result = sd_bus_reply_method_return(message, "h", ends[1]);
    close(ends[1]);
    return result;
  }

  void Tell(const char* signal, int value) {
    sd_bus_emit_signal(bus_, kPath, kManager, signal, "b", value);
  }

  void Serve() {
    int told = 0;
    while (!stop_) {
      while (sd_bus_process(bus_, nullptr) > 0) {
      }
      if (told == 0 && asked.size() == 1) {
        Tell("PrepareForSleep", 1);
        told = 1;
      } else if (told == 1 && !StillHeld(0)) {
        Tell("PrepareForSleep", 0);
        told = 2;
      } else if (told == 2 && asked.size() == 3) {
        Tell("PrepareForShutdown", 1);
        told = 3;
      }
      sd_bus_wait(bus_, 10'000);
    }
  }

  sd_bus* bus_;
  std::vector<int> held_;  // closed at the other end: the inhibition is over
  std::atomic<bool> stop_ = false;
  std::thread thread_;
};

class Recorder : public IMessageHandler {
 public:
  explicit Recorder(ILinuxMessageLoop& loop) : loop_(loop) {}

  void OnMessage(Message) override {}
  void OnTimer(uint32_t) override { loop_.Quit(); }
  void OnSystemEvent(SystemEvent event) override {
    events.push_back(event);
    if (event == SystemEvent::Resumed) power->RaiseShutdownBlock("Saving a replay");
    if (event == SystemEvent::SessionEnding) {
      power->LowerShutdownBlock();
      loop_.Quit();
    }
  }

  IPowerEvents* power = nullptr;
  std::vector<SystemEvent> events;

 private:
  ILinuxMessageLoop& loop_;
};

TEST(PowerEvents, SleepIsDelayedUntilTheCaptureIsHeldAndShutdownIsHeardOf) {
  const PrivateBus bus;
  sd_bus* const connection = bus.Connect();
  ASSERT_NE(connection, nullptr);
  FakeLogind logind(connection);

  const std::unique_ptr<IClock> clock = MakeSystemClock();
  std::unique_ptr<ILinuxMessageLoop> loop = MakeLinuxMessageLoop(*clock);
  ASSERT_NE(loop, nullptr);
  std::unique_ptr<IPowerEvents> power = WatchPowerEvents(*loop);
  Recorder recorder(*loop);
  recorder.power = power.get();
  loop->SetTimer(1, 20'000);  // only when something never comes
  loop->Run(recorder);
  loop.reset();
  power.reset();

  EXPECT_EQ(recorder.events,
            (std::vector<SystemEvent>{SystemEvent::Suspending, SystemEvent::Resumed,
                                      SystemEvent::SessionEnding}));
  ASSERT_EQ(logind.asked.size(), 3U);
  EXPECT_EQ(logind.asked[0], "sleep:shutdown delay Holding the capture");
  // Asked from two handlers of one event, in either order.
  EXPECT_NE(logind.asked[1], logind.asked[2]);
  for (size_t i = 1; i < 3; ++i) {
    EXPECT_TRUE(logind.asked[i] == logind.asked[0] ||
                logind.asked[i] == "shutdown block Saving a replay")
        << logind.asked[i];
  }
  for (size_t i = 0; i < 3; ++i) EXPECT_FALSE(logind.StillHeld(i)) << i;
}

TEST(PowerEvents, WithoutABusTheServiceDoesWithout) {
  setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent/bus", 1);
  const std::unique_ptr<IClock> clock = MakeSystemClock();
  std::unique_ptr<ILinuxMessageLoop> loop = MakeLinuxMessageLoop(*clock);
  ASSERT_NE(loop, nullptr);
  const std::unique_ptr<IPowerEvents> power = WatchPowerEvents(*loop);
  power->RaiseShutdownBlock("Saving a replay");
  power->LowerShutdownBlock();
  Recorder recorder(*loop);
  loop->SetTimer(1, 50);
  loop->Run(recorder);
  EXPECT_TRUE(recorder.events.empty());
  unsetenv("DBUS_SYSTEM_BUS_ADDRESS");
  loop.reset();
}

}  // namespace
}  // namespace orventa
