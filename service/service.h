// The service: one process, one main thread, one engine. start.cpp, pass.cpp and
// exit.cpp hold the three orders in which everything happens and are read first;
// main_handler.cpp says what reaches the main thread in between; saving.cpp and
// event_save.cpp turn wishes into files; verbs.cpp and status_lines.cpp answer
// the outside; later.h names what has not moved in yet.
#pragma once

#include <span>
#include <string>

#include "service/platform.h"

namespace orventa {

// The whole life of the process, on the calling thread. `arguments` without the
// program's own name. Returns the exit code.
int RunService(Platform& platform, std::span<const std::string> arguments);

}  // namespace orventa
