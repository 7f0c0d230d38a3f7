#include "video/video_win/win_targets.h"

#include <windows.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <utility>

#include "base/base_win/win32.h"
#include "base/files.h"
#include "base/text.h"

namespace orventa {
namespace {

constexpr wchar_t kClass[] = L"OrventaTestGame";
constexpr DWORD kGame = WS_POPUP | WS_VISIBLE;
constexpr DWORD kFramed = WS_OVERLAPPEDWINDOW | WS_VISIBLE;

class OneKnownGame final : public IKnownGames {
 public:
  bool IsKnownGame(const std::string& exe_path) override { return exe_path == game; }
  std::string game;
};

uint64_t Number(HWND window) {
  return reinterpret_cast<uintptr_t>(window);
}

class WinTargetsTest : public testing::Test {
 protected:
  WinTargetsTest() {
    WNDCLASSW description{};
    description.lpfnWndProc = DefWindowProcW;
    description.hInstance = GetModuleHandleW(nullptr);
    description.lpszClassName = kClass;
    RegisterClassW(&description);
  }
  ~WinTargetsTest() override {
    for (const HWND window : windows_) DestroyWindow(window);
  }

  struct Looks {
    DWORD style = kGame;
    DWORD ex_style = 0;
    const wchar_t* title = L"a game";
    int width = 320;
    int height = 200;
    HWND parent = nullptr;
  };
  HWND Make(const Looks& looks) {
    const HWND window =
        CreateWindowExW(looks.ex_style, kClass, looks.title, looks.style, 0, 0, looks.width,
                        looks.height, looks.parent, nullptr, GetModuleHandleW(nullptr), nullptr);
    EXPECT_NE(window, nullptr);
    windows_.push_back(window);
    return window;
  }

  // The window's row, or nothing.
  const WindowInfo* Find(HWND window) {
    const Status status = targets.TakeSnapshot(desktop);
    EXPECT_TRUE(status.ok()) << status.ToString();
    const auto row =
        std::find_if(desktop.windows.begin(), desktop.windows.end(),
                     [&](const WindowInfo& info) { return info.hwnd == Number(window); });
    return row == desktop.windows.end() ? nullptr : &*row;
  }

  const std::unique_ptr<IClock> clock = MakeSystemClock();
  OneKnownGame known_games;
  WinTargets targets{*clock, known_games};
  DesktopSnapshot desktop;

 private:
  std::vector<HWND> windows_;
};

TEST_F(WinTargetsTest, ListsOnlyWhatCanBeSeen) {
  const HWND other = Make({});
  const struct {
    const char* what;
    Looks looks;
    bool listed;
  } kCases[] = {
      {"a borderless window", {}, true},
      {"a framed window", {.style = kFramed}, true},
      {"an owned window", {.parent = other}, true},
      {"one never shown", {.style = WS_POPUP}, false},
      {"a minimised one", {.style = kFramed | WS_MINIMIZE}, false},
      {"a tool window", {.ex_style = WS_EX_TOOLWINDOW}, false},
      {"one without a title", {.title = L""}, false},
      {"one without an inside", {.width = 0}, false},
  };
  for (const auto& c : kCases) EXPECT_EQ(Find(Make(c.looks)) != nullptr, c.listed) << c.what;
}

TEST_F(WinTargetsTest, TellsAGameFromAProgram) {
  const int width = GetSystemMetrics(SM_CXSCREEN);
  const int height = GetSystemMetrics(SM_CYSCREEN);
  const HWND game = Make({.title = L"K\u00e4fer \U0001F41E", .width = width, .height = height});
  SetForegroundWindow(game);
  const WindowInfo* row = Find(game);
  ASSERT_NE(row, nullptr);
  EXPECT_EQ(row->title, "K\u00e4fer \U0001F41E");
  EXPECT_EQ(row->client_width, static_cast<uint32_t>(width));
  EXPECT_EQ(row->client_height, static_cast<uint32_t>(height));
  EXPECT_EQ(row->pid, GetCurrentProcessId());
  EXPECT_EQ(FileName(row->exe_path), "test_video_win.exe") << row->exe_path;
  EXPECT_TRUE(FileExists(row->exe_path));
  EXPECT_EQ(row->window_class, "OrventaTestGame");
  EXPECT_TRUE(row->fills_monitor && row->covers_monitor && row->on_primary && row->foreground);
  EXPECT_FALSE(row->maximized || row->resizable || row->known_game);

  known_games.game = row->exe_path;
  const HWND program = Make({.style = kFramed});
  row = Find(program);
  ASSERT_NE(row, nullptr);
  EXPECT_TRUE(row->resizable && row->known_game && row->on_primary);
  EXPECT_FALSE(row->maximized || row->fills_monitor || row->covers_monitor);
  ShowWindow(program, SW_MAXIMIZE);
  EXPECT_TRUE(Find(program)->maximized);
}

TEST_F(WinTargetsTest, ListsTheTopmostFirst) {
  const HWND first = Make({.title = L"first"});
  const HWND second = Make({.title = L"second"});
  const auto first_is_above = [&] {
    const auto place = [&](HWND window) { return Find(window) - desktop.windows.data(); };
    return place(first) < place(second);
  };
  SetWindowPos(second, HWND_TOP, 0, 0, 0, 0, SWP_NOMOVE | SWP_NOSIZE | SWP_NOACTIVATE);
  EXPECT_FALSE(first_is_above());
  SetWindowPos(first, HWND_TOP, 0, 0, 0, 0, SWP_NOMOVE | SWP_NOSIZE | SWP_NOACTIVATE);
  EXPECT_TRUE(first_is_above());
}

TEST_F(WinTargetsTest, FollowsOneWindowToItsEnd) {
  const HWND game = Make({.style = kFramed});
  const HWND dialog = Make({.parent = game});
  SetForegroundWindow(game);
  EXPECT_TRUE(targets.IsForeground(Number(game)));
  EXPECT_TRUE(targets.IsForeground(Number(dialog))) << "its owner is in front";
  SetForegroundWindow(dialog);
  EXPECT_FALSE(targets.IsForeground(Number(game)));

  std::string title;
  targets.ReadTitle(Number(game), title);
  EXPECT_EQ(title, "a game");
  SetWindowTextW(game, std::wstring(5'000, L'\u20ac').c_str());
  targets.ReadTitle(Number(game), title);
  EXPECT_TRUE(title.starts_with("\u20ac\u20ac") && IsValidUtf8(title)) << title;
  SetWindowTextW(game, L"");
  targets.ReadTitle(Number(game), title);
  EXPECT_TRUE(title.starts_with("\u20ac")) << "no title: the last one stands";

  ShowWindow(game, SW_MINIMIZE);
  EXPECT_TRUE(targets.IsHiddenOrMinimised(Number(game)));
  ShowWindow(game, SW_RESTORE);
  EXPECT_FALSE(targets.IsHiddenOrMinimised(Number(game)));
  DestroyWindow(game);
  EXPECT_TRUE(targets.IsHiddenOrMinimised(Number(game)));
  EXPECT_FALSE(targets.IsForeground(Number(game)));
  EXPECT_EQ(Find(game), nullptr);
}

TEST_F(WinTargetsTest, DoesNotWaitForAThreadThatHangs) {
  const WinHandle made(CreateEventW(nullptr, TRUE, FALSE, nullptr));
  const WinHandle asked(CreateEventW(nullptr, TRUE, FALSE, nullptr));
  HWND window = nullptr;
  // Takes no messages until it has been looked at.
  const auto thread = clock->StartThread("hangs", ThreadPriority::Normal, [&] {
    window = Make({.title = L"does not answer"});
    SetEvent(made.get());
    WaitForSingleObject(asked.get(), 30'000);
    DestroyWindow(window);
  });
  WaitForSingleObject(made.get(), INFINITE);
  const uint64_t before = clock->SteadyNs();
  const WindowInfo* const row = Find(window);
  ASSERT_NE(row, nullptr);
  EXPECT_EQ(row->title, "does not answer");
  EXPECT_LT(clock->SteadyNs() - before, 10 * kNsPerSecond);
  SetEvent(asked.get());
}

}  // namespace
}  // namespace orventa
