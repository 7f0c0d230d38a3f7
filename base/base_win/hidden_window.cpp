#include "base/base_win/hidden_window.h"

#include <utility>

namespace orventa {
namespace {

constexpr wchar_t kTitle[] = L"ORVENTA";

}  // namespace

bool HiddenWindow::Make(const wchar_t* class_name, WNDPROC procedure, void* parameter) {
  WNDCLASSEXW window_class{};
  window_class.cbSize = sizeof window_class;
  window_class.lpfnWndProc = procedure;
  window_class.hInstance = GetModuleHandleW(nullptr);
  window_class.lpszClassName = class_name;
  if (RegisterClassExW(&window_class) == 0) return false;
  class_name_ = class_name;
  window_ = CreateWindowExW(WS_EX_TOOLWINDOW, class_name, kTitle, WS_POPUP, 0, 0, 0, 0, nullptr,
                            nullptr, window_class.hInstance, parameter);
  return window_ != nullptr;
}

void HiddenWindow::Destroy() {
  if (window_ != nullptr) DestroyWindow(std::exchange(window_, nullptr));
  if (class_name_ != nullptr) {
    UnregisterClassW(std::exchange(class_name_, nullptr), GetModuleHandleW(nullptr));
  }
}

}  // namespace orventa
