#include "base/instance.h"

#include <pwd.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <algorithm>
#include <optional>
#include <string_view>
#include <vector>

#include "base/base_linux/posix.h"
#include "base/base_linux/process_stat.h"
#include "base/base_linux/runtime_folder.h"
#include "base/files.h"
#include "base/text.h"

namespace orventa {
namespace {

constexpr uint64_t kNsPerMs = 1'000'000;
constexpr uint64_t kRetryNs = 20 * kNsPerMs;

class LockFile final : public ISingleInstance {
 public:
  explicit LockFile(FileDescriptor fd) : fd_(std::move(fd)) {}

 private:
  // The system lets go of the lock with the descriptor, also when the process is
  // killed. The file stays: removing it would let two processes lock two files of
  // one name.
  const FileDescriptor fd_;
};

// A name as a file name; anything unusual becomes '-'.
std::string LockFileName(const std::string& name) {
  std::string file = name + ".lock";
  for (char& c : file) {
    const bool plain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
                       c == '.' || c == '_';
    if (!plain) c = '-';
  }
  return file;
}

}  // namespace

InstanceResult AcquireSingleInstance(const std::string& name, uint32_t wait_ms,
                                     std::unique_ptr<ISingleInstance>& out) {
  out.reset();
  const std::string folder = RuntimeFolder();
  if (folder.empty()) return InstanceResult::Failed;
  const std::string path = JoinPath(folder, LockFileName(name));
  FileDescriptor fd(Uninterrupted([&] {
    return open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, 0600);
  }));
  if (!fd.valid()) return InstanceResult::Failed;

  const uint64_t give_up_ns = MonotonicNs() + wait_ms * kNsPerMs;
  while (Uninterrupted([&] { return flock(fd.get(), LOCK_EX | LOCK_NB); }) != 0) {
    if (errno != EWOULDBLOCK) return InstanceResult::Failed;
    const uint64_t now_ns = MonotonicNs();
    if (now_ns >= give_up_ns) return InstanceResult::HeldByAnother;
    SleepUntilMonotonicNs(std::min(now_ns + kRetryNs, give_up_ns));
  }
  out = std::make_unique<LockFile>(std::move(fd));
  return InstanceResult::Acquired;
}

void WaitForOlderProcess(uint64_t process_id, uint32_t wait_ms) {
  const auto own = ReadProcessStat(static_cast<uint64_t>(getpid()));
  if (!own || process_id == static_cast<uint64_t>(getpid())) return;
  const auto first_seen = ReadProcessStat(process_id);
  if (!first_seen || first_seen->start_ticks > own->start_ticks) return;
  const uint64_t give_up_ns = MonotonicNs() + wait_ms * kNsPerMs;
  // Another start time under the same number is another process.
  for (auto seen = first_seen; seen && seen->start_ticks == first_seen->start_ticks;
       seen = ReadProcessStat(process_id)) {
    const uint64_t now_ns = MonotonicNs();
    if (now_ns >= give_up_ns) return;
    SleepUntilMonotonicNs(std::min(now_ns + kRetryNs, give_up_ns));
  }
}

uint32_t CurrentProcessId() {
  return static_cast<uint32_t>(getpid());
}

std::string CurrentUserName() {
  std::vector<char> buffer(16 * 1024);
  passwd entry{};
  passwd* found = nullptr;
  if (getpwuid_r(getuid(), &entry, buffer.data(), buffer.size(), &found) != 0) return {};
  return found != nullptr && found->pw_name != nullptr ? std::string(found->pw_name)
                                                       : std::string();
}

void EndProcessNow(int code) {
  _exit(code);
}

}  // namespace orventa
