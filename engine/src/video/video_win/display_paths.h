// The ways from adapters to monitors as the display configuration has them: the only
// place where the system tells a monitor's name and its SDR white. Any thread.
#pragma once

#include <windows.h>

#include <vector>

namespace orventa {

// Empty in a session without a display configuration.
std::vector<DISPLAYCONFIG_PATH_INFO> ActiveDisplayPaths();

}  // namespace orventa
