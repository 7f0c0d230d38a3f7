#include "video/video_win/win_targets.h"

#include <windows.h>

#include <dwmapi.h>

#include <iterator>
#include <string_view>
#include <vector>

#include "base/base_win/win32.h"
#include "base/text.h"
#include "games/targets/desktop_geometry.h"
#include "video/video_win/physical_pixels.h"

namespace orventa {
namespace {

constexpr size_t kLongestTitle = 1024;
constexpr size_t kLongestClass = 128;

HWND Handle(uint64_t window) {
  return reinterpret_cast<HWND>(static_cast<uintptr_t>(window));
}

Status ListWindows(std::vector<HWND>& windows) {
  const auto take = [](HWND window, LPARAM list) noexcept -> BOOL {
    reinterpret_cast<std::vector<HWND>*>(list)->push_back(window);
    return TRUE;
  };
  windows.reserve(512);
  if (EnumWindows(take, reinterpret_cast<LPARAM>(&windows)) == 0) {
    return {StatusCode::DriverError, Format("cannot list the windows (%lu)", GetLastError())};
  }
  return Status::Ok();
}

bool HasStyle(HWND window, int which, DWORD style) {
  return (static_cast<DWORD>(GetWindowLongW(window, which)) & style) != 0;
}

// Windows of other virtual desktops and of sleeping apps are visible to the
// system, but kept from the screen.
bool IsCloaked(HWND window) {
  DWORD cloaked = 0;
  return SUCCEEDED(
             DwmGetWindowAttribute(window, DWMWA_CLOAKED, &cloaked, DWORD{sizeof(cloaked)})) &&
         cloaked != 0;
}

bool IsOnScreen(HWND window) {
  return IsWindowVisible(window) != 0 && IsIconic(window) == 0 &&
         GetAncestor(window, GA_ROOT) == window &&
         !HasStyle(window, GWL_EXSTYLE, WS_EX_TOOLWINDOW) && !IsCloaked(window);
}

// GetWindowText would ask a window of this process by a message, and wait for its
// thread; this reads what the system keeps, whoever the owner is.
bool ReadText(HWND window, std::string& text) {
  wchar_t title[kLongestTitle];
  const int length = InternalGetWindowText(window, title, static_cast<int>(std::size(title)));
  if (length <= 0) return false;
  NarrowInto({title, static_cast<size_t>(length)}, text);
  return true;
}

bool ReadClientSize(HWND window, WindowInfo& row) {
  RECT client;
  if (GetClientRect(window, &client) == 0 || client.right < 1 || client.bottom < 1) return false;
  row.client_width = static_cast<uint32_t>(client.right);
  row.client_height = static_cast<uint32_t>(client.bottom);
  return true;
}

void ReadClass(HWND window, std::string& name) {
  wchar_t text[kLongestClass + 1];
  const int length = GetClassNameW(window, text, static_cast<int>(std::size(text)));
  NarrowInto({text, static_cast<size_t>(length)}, name);
}

DesktopRect ToDesktop(const RECT& rect) {
  return {rect.left, rect.top, rect.right, rect.bottom};
}

void CompareWithMonitor(HWND window, WindowInfo& row) {
  row.fills_monitor = row.covers_monitor = row.on_primary = false;
  MONITORINFO monitor{};
  monitor.cbSize = sizeof(monitor);
  RECT frame;
  if (GetMonitorInfoW(MonitorFromWindow(window, MONITOR_DEFAULTTONEAREST), &monitor) == 0 ||
      GetWindowRect(window, &frame) == 0) {
    return;
  }
  const DesktopRect window_rect = ToDesktop(frame);
  const DesktopRect monitor_rect = ToDesktop(monitor.rcMonitor);
  row.fills_monitor = FillsMonitor(window_rect, monitor_rect);
  row.covers_monitor = CoversMonitor(window_rect, monitor_rect);
  row.on_primary = (monitor.dwFlags & MONITORINFOF_PRIMARY) != 0;
}

// False when there is nothing on this window to capture, or it went meanwhile.
bool ReadRow(HWND window, WindowInfo& row) {
  if (!IsOnScreen(window) || !ReadText(window, row.title) || !ReadClientSize(window, row)) {
    return false;
  }
  DWORD pid = 0;
  GetWindowThreadProcessId(window, &pid);
  row.hwnd = reinterpret_cast<uintptr_t>(window);
  row.pid = pid;
  ReadClass(window, row.window_class);
  CompareWithMonitor(window, row);
  row.maximized = IsZoomed(window) != 0;
  row.resizable = HasStyle(window, GWL_STYLE, WS_THICKFRAME);
  return true;
}

}  // namespace

Status WinTargets::TakeSnapshot(DesktopSnapshot& out) {
  const PhysicalPixels physical;
  std::vector<HWND> windows;
  if (Status status = ListWindows(windows); !status.ok()) return status;
  const HWND foreground = GetForegroundWindow();
  size_t count = 0;
  for (const HWND window : windows) {
    if (count == out.windows.size()) out.windows.emplace_back();
    WindowInfo& row = out.windows[count];
    if (!ReadRow(window, row)) continue;
    row.foreground = window == foreground;
    paths_.Find(row.pid, row.exe_path);
    row.known_game = !row.exe_path.empty() && known_games_.IsKnownGame(row.exe_path);
    ++count;
  }
  out.windows.resize(count);
  return displays_.Read(out.displays);
}

bool WinTargets::IsHiddenOrMinimised(uint64_t window) {
  return IsWindowVisible(Handle(window)) == 0 || IsIconic(Handle(window)) != 0;
}

bool WinTargets::IsForeground(uint64_t window) {
  const HWND foreground = GetForegroundWindow();
  return foreground != nullptr &&
         (foreground == Handle(window) || foreground == GetAncestor(Handle(window), GA_ROOTOWNER));
}

void WinTargets::ReadTitle(uint64_t window, std::string& title) {
  ReadText(Handle(window), title);
}

}  // namespace orventa
