#include "service/service_linux/power_events.h"

#include <fcntl.h>
#include <systemd/sd-bus.h>
#include <unistd.h>

#include <cstring>
#include <string>
#include <utility>

#include "base/log.h"

namespace orventa {
namespace {

constexpr char kLogind[] = "org.freedesktop.login1";
constexpr char kManagerPath[] = "/org/freedesktop/login1";
constexpr char kManager[] = "org.freedesktop.login1.Manager";

class Descriptor {
 public:
  Descriptor() = default;
  explicit Descriptor(int fd) : fd_(fd) {}
  ~Descriptor() { Reset(); }
  Descriptor(Descriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    if (this != &other) {
      Reset();
      fd_ = std::exchange(other.fd_, -1);
    }
    return *this;
  }
  void Reset() {
    if (fd_ >= 0) close(std::exchange(fd_, -1));
  }

 private:
  int fd_ = -1;
};

class PowerEvents final : public IPowerEvents {
 public:
  explicit PowerEvents(ILinuxMessageLoop& loop) : loop_(loop) { Connect(); }
  ~PowerEvents() override {
    // The loop is gone, and its watch with it.
    sd_bus_flush_close_unref(bus_);
  }
  PowerEvents(const PowerEvents&) = delete;
  PowerEvents& operator=(const PowerEvents&) = delete;

  void RaiseShutdownBlock(std::string_view reason) override {
    if (std::exchange(block_wanted_, true) || bus_ == nullptr) return;
    Inhibit("shutdown", std::string(reason).c_str(), "block", OnBlockGranted);
  }

  void LowerShutdownBlock() override {
    block_wanted_ = false;
    block_.Reset();
  }

 private:
  void Connect() {
    const int error = sd_bus_open_system(&bus_);
    if (error < 0) {
      LogInfo("power: no system bus (%s), so sleep is not heard of", std::strerror(-error));
      return;
    }
    Listen("PrepareForSleep", OnPrepareForSleep);
    Listen("PrepareForShutdown", OnPrepareForShutdown);
    TakeDelay();
    loop_.AddWatch(sd_bus_get_fd(bus_), WantedEvents(), [this](short) { Serve(); });
    Serve();
  }

  short WantedEvents() const {
    const int events = sd_bus_get_events(bus_);
    return static_cast<short>(events < 0 ? 0 : events);
  }

  void Serve() {
    int result = 0;
    do {
      result = sd_bus_process(bus_, nullptr);
    } while (result > 0);
    if (result >= 0) {
      loop_.ChangeWatch(sd_bus_get_fd(bus_), WantedEvents());
      return;
    }
    LogInfo("power: the system bus is gone (%s), so sleep is not heard of", std::strerror(-result));
    loop_.RemoveWatch(sd_bus_get_fd(bus_));
    bus_ = sd_bus_close_unref(bus_);
    delay_.Reset();
    block_.Reset();
  }

  void Listen(const char* signal, sd_bus_message_handler_t handler) {
    (void)sd_bus_match_signal_async(bus_, nullptr, kLogind, kManagerPath, kManager, signal, handler,
                                    nullptr, this);
  }

  // The answer carries a descriptor; the inhibition lasts while it is open.
  void Inhibit(const char* what, const char* why, const char* mode,
               sd_bus_message_handler_t granted) {
    (void)sd_bus_call_method_async(bus_, nullptr, kLogind, kManagerPath, kManager, "Inhibit",
                                   granted, this, "ssss", what, "ORVENTA", why, mode);
  }

  // Without a delay the machine is asleep before the capture could be held.
  void TakeDelay() { Inhibit("sleep:shutdown", "Holding the capture", "delay", OnDelayGranted); }

  static Descriptor DescriptorOf(sd_bus_message* message) {
    int fd = -1;
    if (sd_bus_message_is_method_error(message, nullptr) > 0 ||
        sd_bus_message_read(message, "h", &fd) < 0) {
      return {};
    }
    return Descriptor(fcntl(fd, F_DUPFD_CLOEXEC, 3));
  }

  static bool BoolOf(sd_bus_message* message) {
    int value = 0;
    return sd_bus_message_read(message, "b", &value) >= 0 && value != 0;
  }

  static int OnDelayGranted(sd_bus_message* message, void* self, sd_bus_error*) {
    static_cast<PowerEvents*>(self)->delay_ = DescriptorOf(message);
    return 0;
  }

  static int OnBlockGranted(sd_bus_message* message, void* self, sd_bus_error*) {
    auto& events = *static_cast<PowerEvents*>(self);
    Descriptor granted = DescriptorOf(message);
    // The save may have ended before the answer came.
    if (events.block_wanted_) events.block_ = std::move(granted);
    return 0;
  }

  static int OnPrepareForSleep(sd_bus_message* message, void* self, sd_bus_error*) {
    auto& events = *static_cast<PowerEvents*>(self);
    if (BoolOf(message)) {
      events.loop_.InjectSystemEvent(SystemEvent::Suspending);
      events.delay_.Reset();
    } else {
      events.loop_.InjectSystemEvent(SystemEvent::Resumed);
      events.TakeDelay();
    }
    return 0;
  }

  static int OnPrepareForShutdown(sd_bus_message* message, void* self, sd_bus_error*) {
    auto& events = *static_cast<PowerEvents*>(self);
    if (BoolOf(message)) {
      events.loop_.InjectSystemEvent(SystemEvent::SessionEnding);
      events.delay_.Reset();
    }
    return 0;
  }

  ILinuxMessageLoop& loop_;
  sd_bus* bus_ = nullptr;
  Descriptor delay_;
  Descriptor block_;
  bool block_wanted_ = false;
};

}  // namespace

std::unique_ptr<IPowerEvents> WatchPowerEvents(ILinuxMessageLoop& loop) {
  return std::make_unique<PowerEvents>(loop);
}

}  // namespace orventa
