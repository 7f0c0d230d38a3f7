#include "base/base_linux/process_stat.h"

#include <string>

#include "base/files.h"
#include "base/text.h"

namespace orventa {

std::optional<ProcessStat> ReadProcessStat(uint64_t pid) {
  std::string text;
  const std::string path = Format("/proc/%llu/stat", static_cast<unsigned long long>(pid));
  if (!ReadWholeFile(path, 64 * 1024, text).ok()) return std::nullopt;
  // The second field is the program's name in brackets and may hold anything.
  const size_t name_end = text.rfind(')');
  if (name_end == std::string::npos) return std::nullopt;
  const auto fields = Split(Trim(std::string_view(text).substr(name_end + 1)), ' ');
  constexpr size_t kState = 0;
  constexpr size_t kParent = 1;
  constexpr size_t kStartTime = 19;
  if (fields.size() <= kStartTime || fields[kState] == "Z" || fields[kState] == "X") {
    return std::nullopt;
  }
  const auto parent = ParseUnsigned(fields[kParent]);
  const auto start = ParseUnsigned(fields[kStartTime]);
  if (!parent || !start) return std::nullopt;
  return ProcessStat{static_cast<uint32_t>(*parent), *start};
}

}  // namespace orventa
