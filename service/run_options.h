// What the command line says about this run of the service. Any thread.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "base/status.h"

namespace orventa {

struct RunOptions {
  bool autostart = false;        // started at sign-in: stays silent, waits longer for the settings
  bool after_crash = false;      // started by the crash guard
  bool from_window = false;      // started by the window process
  bool after_update = false;     // started by the update's swap
  uint64_t updated_process = 0;  // the process that the swap leaves behind; 0: not told

  // For demonstrations and tests: the one window to capture, by a part of its
  // title, and settings that go over the file's.
  std::string window_title;
  std::vector<std::pair<std::string, std::string>> settings;
};

// `arguments` without the program's own name. The first four switches are looked
// for anywhere in the command line. Fails on a developer's argument that is wrong.
Status ReadRunOptions(std::span<const std::string> arguments, RunOptions& options);

}  // namespace orventa
