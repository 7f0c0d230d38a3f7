#include <windows.h>

#include <dbt.h>

#include <utility>
#include <vector>

#include "base/base_win/message_loop.h"
#include "tests/base/message_loop_suite.h"

namespace orventa {
namespace {

// What the system sends for each event.
void SendAsTheSystem(HWND window, SystemEvent event) {
  DEV_BROADCAST_VOLUME volume{};
  volume.dbcv_size = sizeof volume;
  volume.dbcv_devicetype = DBT_DEVTYP_VOLUME;
  switch (event) {
    case SystemEvent::Suspending: SendMessageW(window, WM_POWERBROADCAST, PBT_APMSUSPEND, 0); break;
    case SystemEvent::Resumed:
      SendMessageW(window, WM_POWERBROADCAST, PBT_APMRESUMEAUTOMATIC, 0);
      break;
    case SystemEvent::DisplaysChanged: SendMessageW(window, WM_DISPLAYCHANGE, 32, 0); break;
    case SystemEvent::ThemeChanged:
      SendMessageW(window, WM_SETTINGCHANGE, 0, reinterpret_cast<LPARAM>(L"ImmersiveColorSet"));
      break;
    case SystemEvent::VolumeArrived:
      SendMessageW(window, WM_DEVICECHANGE, DBT_DEVICEARRIVAL, reinterpret_cast<LPARAM>(&volume));
      break;
    case SystemEvent::TrayRebuilt:
      SendMessageW(window, RegisterWindowMessageW(L"TaskbarCreated"), 0, 0);
      break;
    case SystemEvent::CloseRequested: SendMessageW(window, WM_CLOSE, 0, 0); break;
    case SystemEvent::SessionEnding: SendMessageW(window, WM_ENDSESSION, TRUE, 0); break;
  }
}

// A dialog without controls that asks a condition often and closes when it holds.
void RunDialogUntil(const std::function<bool()>& done) {
  struct {
    DLGTEMPLATE dialog;
    WORD menu, window_class, title;
  } description{};
  description.dialog.style = WS_POPUP;
  description.dialog.cx = 10;
  description.dialog.cy = 10;
  const auto procedure = [](HWND dialog, UINT message, WPARAM, LPARAM l) -> INT_PTR {
    if (message == WM_INITDIALOG) {
      SetWindowLongPtrW(dialog, GWLP_USERDATA, l);
      SetTimer(dialog, 1, 10, nullptr);
      return TRUE;
    }
    if (message != WM_TIMER) return FALSE;
    const auto* const condition =
        reinterpret_cast<const std::function<bool()>*>(GetWindowLongPtrW(dialog, GWLP_USERDATA));
    if ((*condition)()) EndDialog(dialog, 1);
    return TRUE;
  };
  EXPECT_EQ(DialogBoxIndirectParamW(GetModuleHandleW(nullptr), &description.dialog, nullptr,
                                    procedure, reinterpret_cast<LPARAM>(&done)),
            1);
}

// A popup menu that a timer closes when the condition holds.
void RunMenuUntilDone(HWND owner, const std::function<bool()>& done) {
  static const std::function<bool()>* condition = nullptr;
  condition = &done;
  const HMENU menu = CreatePopupMenu();
  AppendMenuW(menu, MF_STRING, 1, L"Exit");
  const UINT_PTR timer = SetTimer(nullptr, 0, 10, [](HWND, UINT, UINT_PTR, DWORD) {
    if ((*condition)()) EndMenu();
  });
  SetForegroundWindow(owner);
  TrackPopupMenuEx(menu, TPM_RETURNCMD | TPM_NONOTIFY, 0, 0, owner, nullptr);
  KillTimer(nullptr, timer);
  DestroyMenu(menu);
}

enum class MenuKind { Menu, Dialog };

class WinLoopUnderTest final : public LoopUnderTest {
 public:
  explicit WinLoopUnderTest(MenuKind kind) : kind_(kind) {}
  IClock& clock() override { return *clock_; }
  IWinMessageLoop& loop() override { return *loop_; }
  void Raise(SystemEvent event) override { SendAsTheSystem(loop_->window(), event); }
  bool HasMenuLoops() override { return true; }
  void RunMenuUntil(const std::function<bool()>& done) override {
    if (kind_ == MenuKind::Dialog) return RunDialogUntil(done);
    RunMenuUntilDone(loop_->window(), done);
  }

 private:
  const MenuKind kind_;
  const std::unique_ptr<IClock> clock_ = MakeSystemClock();
  const std::unique_ptr<IWinMessageLoop> loop_ = MakeWinMessageLoop(*clock_);
};

std::unique_ptr<LoopUnderTest> MakeWithMenu() {
  return std::make_unique<WinLoopUnderTest>(MenuKind::Menu);
}
std::unique_ptr<LoopUnderTest> MakeWithDialog() {
  return std::make_unique<WinLoopUnderTest>(MenuKind::Dialog);
}

INSTANTIATE_TEST_SUITE_P(Windows, MessageLoopSuite,
                         testing::Values(&MakeWithMenu, &MakeWithDialog));

class Handler : public IMessageHandler {
 public:
  void OnMessage(Message message) override { on_message(message.id); }
  void OnTimer(uint32_t) override {}
  void OnSystemEvent(SystemEvent event) override { events.push_back(event); }

  std::function<void(uint32_t)> on_message;
  std::vector<SystemEvent> events;
};

bool PostId(IMessageLoop& loop, uint32_t id) {
  return loop.Post({.id = id, .value = 0, .record = nullptr});
}

TEST(WinMessageLoop, HidesAWindowOfTheServicesClass) {
  WinLoopUnderTest under_test(MenuKind::Dialog);
  const HWND window = FindWindowW(L"OrventaServiceWindow", L"ORVENTA");
  EXPECT_EQ(window, under_test.loop().window());
  EXPECT_EQ(static_cast<DWORD>(GetWindowLongPtrW(window, GWL_STYLE)) & (WS_POPUP | WS_VISIBLE),
            WS_POPUP);
  EXPECT_NE(GetWindowLongPtrW(window, GWL_EXSTYLE) & WS_EX_TOOLWINDOW, 0);
}

TEST(WinMessageLoop, AnswersTheSessionsEndInsideTheMessage) {
  WinLoopUnderTest under_test(MenuKind::Dialog);
  auto& loop = under_test.loop();
  const HWND window = loop.window();
  Handler handler;
  handler.on_message = [&](uint32_t id) {
    if (id == 2) return loop.Quit();
    EXPECT_EQ(SendMessageW(window, WM_QUERYENDSESSION, 0, 0), TRUE);
    SendMessageW(window, WM_ENDSESSION, FALSE, 0);
    EXPECT_TRUE(handler.events.empty());
    SendMessageW(window, WM_ENDSESSION, TRUE, static_cast<LPARAM>(ENDSESSION_LOGOFF));
    EXPECT_EQ(handler.events, std::vector{SystemEvent::SessionEnding});
    // An installer that wants the files: the ordinary end, in its turn.
    SendMessageW(window, WM_ENDSESSION, TRUE, ENDSESSION_CLOSEAPP);
    EXPECT_EQ(handler.events.size(), 1u);
    EXPECT_TRUE(PostId(loop, 2));
  };
  EXPECT_TRUE(PostId(loop, 1));
  loop.Run(handler);
  EXPECT_EQ(handler.events, (std::vector{SystemEvent::SessionEnding, SystemEvent::CloseRequested}));
}

TEST(WinMessageLoop, QuitEndsAnOpenDialogToo) {
  WinLoopUnderTest under_test(MenuKind::Dialog);
  auto& loop = under_test.loop();
  Handler handler;
  bool after_dialog = false;
  handler.on_message = [&](uint32_t) {
    const auto poster = under_test.clock().StartThread("poster", ThreadPriority::Normal, [&] {
      under_test.clock().SleepUntil(under_test.clock().SteadyNs() + 100 * kNsPerMs);
      loop.Quit();
    });
    struct {
      DLGTEMPLATE dialog;
      WORD menu, window_class, title;
    } description{};
    description.dialog.style = WS_POPUP;
    (void)DialogBoxIndirectParamW(
        GetModuleHandleW(nullptr), &description.dialog, nullptr,
        [](HWND, UINT, WPARAM, LPARAM) -> INT_PTR { return FALSE; }, 0);
    after_dialog = true;
  };
  EXPECT_TRUE(PostId(loop, 1));
  loop.Run(handler);
  EXPECT_TRUE(after_dialog);
}

TEST(WinMessageLoop, OtherMessagesOfTheWindowReachTheirSinks) {
  WinLoopUnderTest under_test(MenuKind::Dialog);
  auto& loop = under_test.loop();
  Handler handler;
  loop.SetMessageSink(WM_APP + 1, [&](WPARAM w, LPARAM l) -> LRESULT {
    EXPECT_EQ(w, 5u);
    EXPECT_EQ(l, 6);
    loop.Quit();
    return 77;
  });
  LRESULT answer = 0;
  const auto sender = under_test.clock().StartThread("sender", ThreadPriority::Normal, [&] {
    answer = SendMessageW(loop.window(), WM_APP + 1, 5, 6);
  });
  loop.Run(handler);
  sender->Join();
  EXPECT_EQ(answer, 77);
}

}  // namespace
}  // namespace orventa
