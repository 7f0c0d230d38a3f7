#include "service/service_linux/mount_watch.h"

#include <fcntl.h>
#include <poll.h>

#include <algorithm>
#include <vector>

#include "base/files.h"
#include "base/log.h"
#include "base/text.h"

namespace orventa {
namespace {

constexpr char kTable[] = "/proc/self/mountinfo";
constexpr uint64_t kMaxTableBytes = 16 * 1024 * 1024;

}  // namespace

// "number parent device root place options [more...] - kind source options": a source is
// a device's path, or a host with a path on it; anything else is only a word.
std::set<std::string, std::less<>> MountedDrives(std::string_view table) {
  std::set<std::string, std::less<>> drives;
  for (const std::string_view line : Split(table, '\n')) {
    const std::vector<std::string_view> fields = Split(line, ' ');
    const auto dash = std::find(fields.begin(), fields.end(), "-");
    if (fields.end() - dash < 3) continue;
    if (dash[2].find('/') != std::string_view::npos) drives.emplace(fields[0]);
  }
  return drives;
}

MountWatch::MountWatch(ILinuxMessageLoop& loop)
    : loop_(loop), table_(open(kTable, O_RDONLY | O_CLOEXEC)) {
  if (!table_.valid()) {
    LogInfo("drives: no table of mounts, so new drives are not heard of");
    return;
  }
  Look();
  // A changed table counts as urgent, until the next poll.
  loop_.AddWatch(table_.get(), POLLPRI, [this](short) {
    const auto before = drives_;
    Look();
    const bool arrived = std::any_of(drives_.begin(), drives_.end(), [&](const std::string& drive) {
      return !before.contains(drive);
    });
    if (arrived) loop_.InjectSystemEvent(SystemEvent::VolumeArrived);
  });
}

void MountWatch::Look() {
  std::string text;
  if (ReadWholeFile(kTable, kMaxTableBytes, text).ok()) drives_ = MountedDrives(text);
}

}  // namespace orventa
