// What the system tells of any running process. Any thread.
#pragma once

#include <cstdint>
#include <optional>

namespace orventa {

struct ProcessStat {
  uint32_t parent_pid = 0;
  uint64_t start_ticks = 0;  // since the machine was started
};

// Nothing when it is gone. A dead process that its parent has not collected yet is
// gone.
std::optional<ProcessStat> ReadProcessStat(uint64_t pid);

}  // namespace orventa
