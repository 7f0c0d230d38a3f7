// How a window lies on its monitor, in pixels of the desktop: the two questions that
// both systems' row takers answer alike. Pure; any thread.
#pragma once

#include <cstdint>

namespace orventa {

// As the systems tell it; right and bottom lie just outside.
struct DesktopRect {
  int32_t left = 0;
  int32_t top = 0;
  int32_t right = 0;
  int32_t bottom = 0;

  int64_t Width() const { return int64_t{right} - left; }
  int64_t Height() const { return int64_t{bottom} - top; }
  bool operator==(const DesktopRect&) const = default;
};

// Whether it is at least nine tenths of the monitor, both ways. `monitor`: all of it,
// not what panels leave.
inline bool FillsMonitor(const DesktopRect& window, const DesktopRect& monitor) {
  return monitor.Width() >= 1 && monitor.Height() >= 1 &&
         window.Width() * 100 >= monitor.Width() * 90 &&
         window.Height() * 100 >= monitor.Height() * 90;
}

// Whether no pixel of the monitor is left outside.
inline bool CoversMonitor(const DesktopRect& window, const DesktopRect& monitor) {
  return monitor.Width() >= 1 && monitor.Height() >= 1 && window.left <= monitor.left &&
         window.top <= monitor.top && window.right >= monitor.right &&
         window.bottom >= monitor.bottom;
}

}  // namespace orventa
