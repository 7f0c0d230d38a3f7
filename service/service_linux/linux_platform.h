// The process and the desktop of Linux as the service asks for them. Main thread.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "base/clock.h"
#include "service/platform.h"
#include "service/service_linux/mount_watch.h"
#include "service/service_linux/power_events.h"

namespace orventa {

class LinuxProcess final : public IProcess {
 public:
  std::string TakeEnvironment(const char* name) override;
  void HonourTimerRequests() override {}              // timers are exact for everybody
  bool MediaPartsPresent() override { return true; }  // linked into the program
  InstanceResult AcquireInstance(uint32_t wait_ms, std::unique_ptr<ISingleInstance>& out) override;
  void WaitForOlderProcess(uint64_t process_id, uint32_t wait_ms) override;
  std::string_view RaiseGraphicsPriority() override { return "normal"; }  // no such ranks
  void SetAppIdentity() override {}  // desktop entries carry it
  std::shared_ptr<void> HoldFolder(const std::string&) override { return nullptr; }
  void Print(std::string_view text) override;
  void EndNow(int code) override;
};

class LinuxDesktop final : public IDesktop, public IDialogs {
 public:
  // `watch_displays` is called once with the loop; its result outlives that.
  using WatchDisplays = std::function<std::shared_ptr<void>(ILinuxMessageLoop& loop)>;
  LinuxDesktop(IClock& clock, WatchDisplays watch_displays)
      : clock_(clock), watch_displays_(std::move(watch_displays)) {}

  std::unique_ptr<IMessageLoop> MakeLoop() override;
  void RaiseShutdownBlock(std::string_view reason) override;
  void LowerShutdownBlock() override;
  bool StartProgram(const std::string& path, const std::string& arguments,
                    const std::string& folder, int64_t& system_code) override;
  bool OpenTextFile(const std::string& path, int64_t& system_code) override;
  bool OpenFolder(const std::string& path, int64_t& system_code) override;
  // On the standard error stream: there may be no desktop.
  void Show(std::string_view text, DialogIcon icon) override;

 private:
  IClock& clock_;
  const WatchDisplays watch_displays_;
  std::shared_ptr<void> displays_;
  std::unique_ptr<IPowerEvents> power_;
  std::unique_ptr<MountWatch> mounts_;
};

}  // namespace orventa
