// What a desktop shows at one moment, as rows that a decision can be made on, and
// who provides them. Rows are plain values: a recorded desktop does as well as a
// live one.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "base/status.h"

namespace orventa {

struct WindowInfo {
  uint64_t hwnd = 0;  // the system's handle
  std::string title;  // UTF-8, never empty
  uint32_t client_width = 0;
  uint32_t client_height = 0;
  uint32_t pid = 0;
  std::string exe_path;         // empty: the process may not be looked at
  std::string window_class;     // at most 128 characters
  bool fills_monitor = false;   // at least nine tenths of it both ways
  bool covers_monitor = false;  // all of it
  bool on_primary = false;
  bool maximized = false;
  bool resizable = false;
  bool known_game = false;
  bool foreground = false;

  bool operator==(const WindowInfo&) const = default;
};

struct DisplayInfo {
  uint64_t monitor = 0;       // the system's handle
  std::string device_name;    // "\\.\DISPLAY1", "HDMI-1"
  std::string stable_id;      // of the monitor itself, wherever it is plugged in
  std::string friendly_name;  // for people; may be empty
  uint32_t width = 0;
  uint32_t height = 0;
  bool primary = false;

  bool operator==(const DisplayInfo&) const = default;
};

struct DesktopSnapshot {
  std::vector<WindowInfo> windows;    // topmost first
  std::vector<DisplayInfo> displays;  // in the system's order
};

// Any thread; implementations lock for themselves.
class IDesktopRows {
 public:
  virtual ~IDesktopRows() = default;
  // Reuses the memory of `out`. Fails when the desktop cannot be asked.
  virtual Status TakeSnapshot(DesktopSnapshot& out) = 0;
};

// Whether a program is known as a game, by whatever this system and its stores
// keep. Any thread; answers are remembered, so that a snapshot may ask for every
// window.
class IKnownGames {
 public:
  virtual ~IKnownGames() = default;
  virtual bool IsKnownGame(const std::string& exe_path) = 0;
};

}  // namespace orventa
