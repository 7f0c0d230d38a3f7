#include "tests/base/child.h"

#include "base/clock.h"
#include "base/files.h"
#include "base/text.h"
#include "tests/base/temp_folder.h"

namespace orventa {

std::string ChildFolder() {
  return Environment(kChildFolderVariable);
}

bool AwaitSign(const std::string& path) {
  // A busy machine that has never started such a program takes long.
  constexpr uint64_t kPatienceNs = 180 * kNsPerSecond;
  const auto clock = MakeSystemClock();
  const uint64_t give_up_ns = clock->SteadyNs() + kPatienceNs;
  while (!FileExists(path)) {
    if (clock->SteadyNs() > give_up_ns) return false;
    clock->SleepUntil(clock->SteadyNs() + kNsPerMs);
  }
  return true;
}

void LeaveSign(const std::string& path) {
  WriteBytes(path, "");
}

}  // namespace orventa
