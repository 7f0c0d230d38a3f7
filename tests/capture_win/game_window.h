// A window that is really on the screen, to be captured.
#pragma once

#include <windows.h>

#include "video/video_win/capture_abi.h"

namespace orventa {

class GameWindow {
 public:
  explicit GameWindow(DWORD style, const wchar_t* title = L"a game", int width = 200,
                      int height = 150)
      : handle_(CreateWindowExW(0, L"STATIC", title, style | WS_VISIBLE, 20, 20, width, height,
                                nullptr, nullptr, nullptr, nullptr)) {}
  ~GameWindow() { DestroyWindow(handle_); }
  GameWindow(const GameWindow&) = delete;
  GameWindow& operator=(const GameWindow&) = delete;

  HWND handle() const { return handle_; }
  winrt::SizeInt32 Size() const {
    RECT rect{};
    GetWindowRect(handle_, &rect);
    return {rect.right - rect.left, rect.bottom - rect.top};
  }
  winrt::SizeInt32 ClientSize() const {
    RECT rect{};
    GetClientRect(handle_, &rect);
    return {rect.right, rect.bottom};
  }
  // From the window's corner.
  POINT ClientOffset() const {
    RECT rect{};
    POINT origin{};
    GetWindowRect(handle_, &rect);
    ClientToScreen(handle_, &origin);
    return {origin.x - rect.left, origin.y - rect.top};
  }

 private:
  const HWND handle_;
};

}  // namespace orventa
