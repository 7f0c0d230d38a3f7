#include "base/base_win/message_loop.h"

// First: the other headers of the system lean on it.
#include <windows.h>

#include <dbt.h>

#include <algorithm>
#include <atomic>
#include <map>

#include "base/base_win/hidden_window.h"
#include "base/loop_core.h"

namespace orventa {
namespace {

constexpr wchar_t kClassName[] = L"OrventaServiceWindow";
// Far from the numbers that sinks use.
constexpr UINT kWakeMessage = WM_APP + 0x1000;
constexpr UINT_PTR kTimerId = 1;

class WinMessageLoop final : public IWinMessageLoop {
 public:
  explicit WinMessageLoop(IClock& clock)
      : clock_(clock),
        core_(clock, [this] { Wake(); }),
        tray_rebuilt_(RegisterWindowMessageW(L"TaskbarCreated")) {}

  // Its last messages still find everything here.
  ~WinMessageLoop() override { window_.Destroy(); }
  WinMessageLoop(const WinMessageLoop&) = delete;
  WinMessageLoop& operator=(const WinMessageLoop&) = delete;

  bool MakeWindow() {
    if (!window_.Make(kClassName, &WinMessageLoop::WindowProc, this)) return false;
    // The shell runs with less rights than an elevated service.
    (void)ChangeWindowMessageFilterEx(window(), tray_rebuilt_, MSGFLT_ALLOW, nullptr);
    // What was posted before there was a window.
    Wake();
    return true;
  }

  HWND window() const override { return window_.get(); }

  void SetMessageSink(UINT message, std::function<LRESULT(WPARAM, LPARAM)> sink) override {
    sinks_[message] = std::move(sink);
  }

  void Run(IMessageHandler& handler) override {
    handler_ = &handler;
    ArmTimer();
    MSG message{};
    // A quit message that is not ours ends nothing.
    while (!core_.IsQuitting() && GetMessageW(&message, nullptr, 0, 0) >= 0) {
      TranslateMessage(&message);
      DispatchMessageW(&message);
    }
    // Ours may be left over, and would close whatever box the process shows next.
    while (PeekMessageW(&message, nullptr, WM_QUIT, WM_QUIT, PM_REMOVE)) {
    }
    KillTimer(window(), kTimerId);
    armed_ns_ = kForever;
    handler_ = nullptr;
    core_.End();
  }

  void Quit() override { core_.Quit(); }
  void Close() override { core_.PostEvent(SystemEvent::CloseRequested); }
  bool Post(Message message) override { return core_.Post(std::move(message)); }

  void SetTimer(uint32_t timer_id, uint32_t period_ms) override {
    core_.SetTimer(timer_id, period_ms);
    ArmTimer();
  }
  void ClearTimer(uint32_t timer_id) override {
    core_.ClearTimer(timer_id);
    ArmTimer();
  }

  bool RespondsWithin(uint32_t limit_ms) override {
    if (core_.HasEnded()) return false;
    DWORD_PTR result = 0;
    return SendMessageTimeoutW(window(), WM_NULL, 0, 0, SMTO_BLOCK | SMTO_ABORTIFHUNG, limit_ms,
                               &result) != 0;
  }

 private:
  // At most one wake message waits in the thread's queue, which is bounded and which
  // a menu's own loop serves as well.
  void Wake() {
    if (wake_pending_.exchange(true)) return;
    if (!PostMessageW(window(), kWakeMessage, 0, 0)) wake_pending_ = false;
  }

  // One at a time, so that other messages of the window get their turn.
  void Serve() {
    if (handler_ == nullptr) return;
    if (core_.IsQuitting()) {
      // Ends a menu's or a dialog's own loop as well.
      PostQuitMessage(0);
      return;
    }
    ++depth_;
    (void)core_.ServeNext(*handler_);
    --depth_;
    if (core_.HasWork() || core_.IsQuitting()) Wake();
    ArmTimer();
  }

  // One timer of the window serves all of the core's.
  void ArmTimer() {
    const uint64_t due_ns = core_.NextTimerNs();
    if (due_ns == armed_ns_) return;
    armed_ns_ = due_ns;
    if (due_ns == kForever) {
      KillTimer(window(), kTimerId);
      return;
    }
    const uint64_t now_ns = clock_.SteadyNs();
    const uint64_t wait_ns = due_ns > now_ns ? due_ns - now_ns : 0;
    const uint64_t wait_ms =
        std::min<uint64_t>((wait_ns + kNsPerMs - 1) / kNsPerMs, USER_TIMER_MAXIMUM);
    ::SetTimer(window(), kTimerId, std::max(static_cast<UINT>(wait_ms), UINT{1}), nullptr);
  }

  // While a handler is at work, a menu's loop may be what brings the event: it waits
  // its turn behind the messages, which that loop serves.
  void Tell(SystemEvent event) {
    if (handler_ == nullptr || depth_ > 0) {
      core_.PostEvent(event);
    } else {
      TellNow(event);
    }
  }

  void TellNow(SystemEvent event) {
    if (handler_ == nullptr) return;
    ++depth_;
    handler_->OnSystemEvent(event);
    --depth_;
    ArmTimer();
  }

  static LRESULT CALLBACK WindowProc(HWND window, UINT message, WPARAM w, LPARAM l) {
    if (message == WM_NCCREATE) {
      const auto* const create = reinterpret_cast<const CREATESTRUCTW*>(l);
      SetWindowLongPtrW(window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(create->lpCreateParams));
    }
    auto* const self = reinterpret_cast<WinMessageLoop*>(GetWindowLongPtrW(window, GWLP_USERDATA));
    if (self == nullptr) return DefWindowProcW(window, message, w, l);
    return self->OnWindowMessage(window, message, w, l);
  }

  LRESULT OnWindowMessage(HWND window, UINT message, WPARAM w, LPARAM l) {
    switch (message) {
      case kWakeMessage:
        wake_pending_ = false;
        Serve();
        return 0;
      case WM_TIMER:
        armed_ns_ = 0;  // it may have come early, and repeats at its old distance
        if (w == kTimerId) Serve();
        return 0;
      case WM_CLOSE: Tell(SystemEvent::CloseRequested); return 0;
      case WM_QUERYENDSESSION: return TRUE;
      case WM_ENDSESSION: OnEndSession(w != FALSE, l); return 0;
      case WM_POWERBROADCAST: OnPower(w); return TRUE;
      case WM_DISPLAYCHANGE: Tell(SystemEvent::DisplaysChanged); return 0;
      case WM_SETTINGCHANGE: OnSettingChange(l); break;
      case WM_DEVICECHANGE: OnDeviceChange(w, l); break;
      default: break;
    }
    if (message == tray_rebuilt_ && tray_rebuilt_ != 0) {
      Tell(SystemEvent::TrayRebuilt);
      return 0;
    }
    const auto sink = sinks_.find(message);
    return sink == sinks_.end() ? DefWindowProcW(window, message, w, l) : sink->second(w, l);
  }

  void OnEndSession(bool ends, LPARAM flags) {
    if (!ends) return;
    if ((static_cast<uint32_t>(flags) & ENDSESSION_CLOSEAPP) != 0) {
      Tell(SystemEvent::CloseRequested);
      return;
    }
    // The process may be killed once this returns: a handler that is at work, in a
    // menu's loop, has to stand it.
    TellNow(SystemEvent::SessionEnding);
  }

  void OnPower(WPARAM what) {
    if (what == PBT_APMSUSPEND) Tell(SystemEvent::Suspending);
    if (what == PBT_APMRESUMESUSPEND || what == PBT_APMRESUMEAUTOMATIC) {
      Tell(SystemEvent::Resumed);
    }
  }

  void OnSettingChange(LPARAM area) {
    const auto* const name = reinterpret_cast<const wchar_t*>(area);
    if (name != nullptr && lstrcmpW(name, L"ImmersiveColorSet") == 0) {
      Tell(SystemEvent::ThemeChanged);
    }
  }

  void OnDeviceChange(WPARAM what, LPARAM device) {
    if (what != DBT_DEVICEARRIVAL || device == 0) return;
    const auto* const header = reinterpret_cast<const DEV_BROADCAST_HDR*>(device);
    if (header->dbch_devicetype == DBT_DEVTYP_VOLUME) Tell(SystemEvent::VolumeArrived);
  }

  IClock& clock_;
  LoopCore core_;
  const UINT tray_rebuilt_;
  HiddenWindow window_;
  std::atomic<bool> wake_pending_{false};
  IMessageHandler* handler_ = nullptr;
  uint64_t armed_ns_ = kForever;
  int depth_ = 0;  // handlers at work, each but the last in a menu's loop
  std::map<UINT, std::function<LRESULT(WPARAM, LPARAM)>> sinks_;
};

}  // namespace

std::unique_ptr<IWinMessageLoop> MakeWinMessageLoop(IClock& clock) {
  auto loop = std::make_unique<WinMessageLoop>(clock);
  if (!loop->MakeWindow()) return nullptr;
  return loop;
}

}  // namespace orventa
