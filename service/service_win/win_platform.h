// The process and the desktop of Windows as the service asks for them. Main
// thread.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "base/base_win/hidden_window.h"
#include "base/base_win/message_loop.h"
#include "base/clock.h"
#include "service/platform.h"

namespace orventa {

class WinProcess final : public IProcess {
 public:
  std::string TakeEnvironment(const char* name) override;
  void HonourTimerRequests() override;
  bool MediaPartsPresent() override;
  InstanceResult AcquireInstance(uint32_t wait_ms, std::unique_ptr<ISingleInstance>& out) override;
  void WaitForOlderProcess(uint64_t process_id, uint32_t wait_ms) override;
  std::string_view RaiseGraphicsPriority() override;
  void SetAppIdentity() override;
  std::shared_ptr<void> HoldFolder(const std::string& path) override;
  void Print(std::string_view text) override;
  void EndNow(int code) override;
};

class WinDesktop final : public IDesktop, public IDialogs {
 public:
  explicit WinDesktop(IClock& clock) : clock_(clock) {}

  // And with it the second hidden window, which owns menus: of the same kind, but drawn
  // in each display's own scale whatever the process has declared.
  std::unique_ptr<IMessageLoop> MakeLoop() override;
  void RaiseShutdownBlock(std::string_view reason) override;
  void LowerShutdownBlock() override;
  bool StartProgram(const std::string& path, const std::string& arguments,
                    const std::string& folder, int64_t& system_code) override;
  bool OpenTextFile(const std::string& path, int64_t& system_code) override;
  bool OpenFolder(const std::string& path, int64_t& system_code) override;
  void Show(std::string_view text, DialogIcon icon) override;

 private:
  IClock& clock_;
  HWND window_ = nullptr;  // the loop's
  HiddenWindow menu_owner_;
};

}  // namespace orventa
