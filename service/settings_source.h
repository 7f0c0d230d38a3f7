// Where the settings of this run come from. Main thread.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "base/clock.h"
#include "base/status.h"
#include "settings/config.h"

namespace orventa {

// The product's defaults with the command line's settings over them. The file at
// `path` is not read yet: its format has not moved in.
Status LoadSettings(const std::string& path,
                    const std::vector<std::pair<std::string, std::string>>& overrides,
                    Config& config);

// Reads again every 500 ms until a read succeeds or the deadline has passed;
// gives the last answer.
Status ReadUntil(IClock& clock, uint64_t deadline_steady_ns, const std::function<Status()>& read);

}  // namespace orventa
