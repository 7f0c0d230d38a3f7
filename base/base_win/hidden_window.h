// A top-level window that nobody sees: the system's broadcasts reach it, and calls that
// want a window get it. For the platform's own folders only; lives and dies on the thread
// that makes it.
#pragma once

#include <windows.h>

namespace orventa {

class HiddenWindow {
 public:
  HiddenWindow() = default;
  ~HiddenWindow() { Destroy(); }
  HiddenWindow(const HiddenWindow&) = delete;
  HiddenWindow& operator=(const HiddenWindow&) = delete;

  // Once. One window a class in a process; `class_name` must outlive this. `parameter`
  // comes with WM_NCCREATE. False when the system refuses.
  bool Make(const wchar_t* class_name, WNDPROC procedure, void* parameter);
  void Destroy();

  HWND get() const { return window_; }

 private:
  const wchar_t* class_name_ = nullptr;  // registered
  HWND window_ = nullptr;
};

}  // namespace orventa
