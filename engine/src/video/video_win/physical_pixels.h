// While it lives, this thread sees windows and displays in their true pixels, at
// whatever scale each display is shown and whatever the process has declared.
// For the platform's own folders only.
#pragma once

#include <windows.h>

namespace orventa {

class PhysicalPixels {
 public:
  PhysicalPixels()
      : before_(SetThreadDpiAwarenessContext(DPI_AWARENESS_CONTEXT_PER_MONITOR_AWARE_V2)) {}
  ~PhysicalPixels() {
    if (before_ != nullptr) SetThreadDpiAwarenessContext(before_);
  }
  PhysicalPixels(const PhysicalPixels&) = delete;
  PhysicalPixels& operator=(const PhysicalPixels&) = delete;

 private:
  // Null: this Windows does not know the mode, and nothing was changed.
  const DPI_AWARENESS_CONTEXT before_;
};

}  // namespace orventa
