#include "video/video_win/process_paths.h"

#include <windows.h>

#include "base/base_win/win32.h"

namespace orventa {
namespace {

constexpr size_t kMostRemembered = 256;

std::string ImagePath(HANDLE process) {
  std::wstring path(32'768, L'\0');  // the longest there is
  auto length = static_cast<DWORD>(path.size());
  if (QueryFullProcessImageNameW(process, 0, path.data(), &length) == 0) return {};
  return Narrow({path.data(), length});
}

}  // namespace

void ProcessPaths::Find(uint32_t pid, std::string& path) {
  path.clear();
  const WinHandle process(OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, pid));
  FILETIME created, exited, kernel, user;
  if (!process.valid() || GetProcessTimes(process.get(), &created, &exited, &kernel, &user) == 0) {
    return;
  }
  {
    const MutexLock lock(mutex_);
    const auto known = known_.find(pid);
    if (known != known_.end() && known->second.created == Joined(created)) {
      path = known->second.path;
      return;
    }
  }
  std::string found = ImagePath(process.get());
  if (found.empty()) return;
  path = found;
  const MutexLock lock(mutex_);
  if (known_.size() >= kMostRemembered) known_.clear();
  known_[pid] = {Joined(created), std::move(found)};
}

}  // namespace orventa
