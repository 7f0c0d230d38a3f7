#include "base/instance.h"

// First: the other headers of the system lean on it.
#include <windows.h>

#include <lmcons.h>

#include <cstdlib>

#include "base/base_win/win32.h"

namespace orventa {
namespace {

// A mutex belongs to the thread that got it: the main thread also lets go.
class HeldMutex final : public ISingleInstance {
 public:
  explicit HeldMutex(WinHandle mutex) : mutex_(std::move(mutex)) {}
  ~HeldMutex() override { ReleaseMutex(mutex_.get()); }
  HeldMutex(const HeldMutex&) = delete;
  HeldMutex& operator=(const HeldMutex&) = delete;

 private:
  const WinHandle mutex_;
};

// Zero: the process is gone or not ours to ask.
uint64_t StartTime(HANDLE process) {
  FILETIME created{};
  FILETIME exited{};
  FILETIME kernel{};
  FILETIME user{};
  return GetProcessTimes(process, &created, &exited, &kernel, &user) ? Joined(created) : 0;
}

}  // namespace

InstanceResult AcquireSingleInstance(const std::string& name, uint32_t wait_ms,
                                     std::unique_ptr<ISingleInstance>& out) {
  out.reset();
  WinHandle mutex(CreateMutexW(nullptr, FALSE, Wide("Local\\" + name).c_str()));
  if (!mutex.valid()) return InstanceResult::Failed;
  switch (WaitForSingleObject(mutex.get(), wait_ms)) {
    case WAIT_OBJECT_0:
    case WAIT_ABANDONED: break;
    case WAIT_TIMEOUT: return InstanceResult::HeldByAnother;
    default: return InstanceResult::Failed;
  }
  out = std::make_unique<HeldMutex>(std::move(mutex));
  return InstanceResult::Acquired;
}

void WaitForOlderProcess(uint64_t process_id, uint32_t wait_ms) {
  if (process_id > MAXDWORD) return;
  const WinHandle process(OpenProcess(SYNCHRONIZE | PROCESS_QUERY_LIMITED_INFORMATION, FALSE,
                                      static_cast<DWORD>(process_id)));
  if (!process.valid() || process_id == GetCurrentProcessId()) return;
  const uint64_t started = StartTime(process.get());
  if (started == 0 || started > StartTime(GetCurrentProcess())) return;
  (void)WaitForSingleObject(process.get(), wait_ms);
}

uint32_t CurrentProcessId() {
  return GetCurrentProcessId();
}

std::string CurrentUserName() {
  wchar_t name[UNLEN + 1] = {};
  DWORD length = UNLEN + 1;
  if (!GetUserNameW(name, &length) || length == 0) return {};
  return Narrow({name, length - 1});
}

void EndProcessNow(int code) {
  TerminateProcess(GetCurrentProcess(), static_cast<UINT>(code));
  std::abort();
}

}  // namespace orventa
