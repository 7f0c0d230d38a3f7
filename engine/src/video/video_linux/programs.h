// Which program file a process runs, from /proc. A Windows program under Wine or
// Proton counts by its own file, not by the loader's. One thread at a time.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>

namespace orventa {

class ProcessPrograms {
 public:
  // Empty when the process may not be looked at, or is gone.
  std::string ProgramOf(uint32_t pid);

 private:
  // Finding a Windows program means reading all that its process has mapped, so the
  // answer is kept for as long as the process lives. A start time tells it from
  // another one that was given the same number.
  struct Known {
    uint64_t started = 0;
    std::string program;
  };
  std::unordered_map<uint32_t, Known> windows_programs_;
};

// The first "*.exe" among what a process has mapped (a text of /proc/<pid>/maps),
// or the one of that name in any case when it is not empty. Empty: there is none.
std::string MappedProgram(std::string_view maps, std::string_view program_name);

}  // namespace orventa
