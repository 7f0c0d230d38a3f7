// The service's plain text log: the newest 2000 lines, kept in memory and written
// whole beside the file and renamed over it at every line, so that no handle
// stays open and a crash never leaves half a log. Lines are rare. Any thread.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "base/clock.h"
#include "base/printf_format.h"

namespace orventa {

// Gives the log its clock and its file (UTF-8 path); lines said before are kept
// in memory and come out with the first one after. The clock must outlive every
// later log call or the next OpenLog/CloseLog.
void OpenLog(IClock& clock, std::string_view path);
// Forgets the clock and the file; for tests and the end of the process.
void CloseLog();

// printf-style; cut at 1024 bytes with the prefix. Plain English, lower case, no
// full stop.
ORVENTA_PRINTF(1, 2) void LogInfo(const char* format, ...);
ORVENTA_PRINTF(1, 2) void LogWarning(const char* format, ...);
ORVENTA_PRINTF(1, 2) void LogError(const char* format, ...);

}  // namespace orventa
