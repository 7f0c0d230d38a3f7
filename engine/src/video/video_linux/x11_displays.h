// The displays of an X screen. Any thread that owns the connection.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "video/video_linux/x11_connection.h"

namespace orventa {

// A rectangle of the root window that people call a display.
struct X11Display {
  uint64_t handle = 0;  // its name as the server numbers it; 0: the whole root window
  std::string name;     // "HDMI-1"; empty for the whole root window
  // The monitor itself, wherever it is plugged in: "GSM-5B09-00021C4A". One without a
  // serial number is told from its twins by the output, one that says nothing of
  // itself is only the output's name.
  std::string stable_id;
  std::string friendly_name;  // "LG ULTRAGEAR"; may be empty
  int16_t x = 0;
  int16_t y = 0;
  uint16_t width = 0;
  uint16_t height = 0;
  bool primary = false;
};

// In RandR's order, exactly one of them primary. A server without RandR or without
// displays has its root window as the only one. Empty when the connection is broken.
std::vector<X11Display> ReadDisplays(X11Connection& connection);

// The primary display; null when the list is empty.
const X11Display* MainDisplay(const std::vector<X11Display>& displays);

}  // namespace orventa
