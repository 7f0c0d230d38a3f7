// Who started whom, as far as the system tells it. Used by one thread.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "base/status.h"

namespace orventa {

struct ProcessInfo {
  uint32_t parent_pid = 0;  // the number may have gone to another process since
  uint64_t started = 0;     // in a unit of the system's, for comparing; 0: unknown
  std::string file_name;    // of its program, without the folder; empty: unknown
};

class IProcessTable {
 public:
  virtual ~IProcessTable() = default;
  // Find answers by the processes of about this moment.
  virtual Status Refresh() = 0;
  // Nothing for a process that is gone.
  virtual std::optional<ProcessInfo> Find(uint32_t pid) = 0;
};

// Whether `ancestor` started `pid`, itself or by others between them.
bool IsAncestor(IProcessTable& table, uint32_t ancestor, uint32_t pid);

// The system's own, by whichever platform this is built for.
std::unique_ptr<IProcessTable> MakeProcessTable();

}  // namespace orventa
