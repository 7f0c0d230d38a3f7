#include "sound/process_table.h"

// First: the other headers of the system lean on it.
#include <windows.h>

#include <tlhelp32.h>

#include <algorithm>
#include <vector>

#include "base/base_win/win32.h"
#include "base/text.h"

namespace orventa {
namespace {

class SnapshotProcessTable final : public IProcessTable {
 public:
  Status Refresh() override {
    const WinHandle snapshot(CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0));
    if (!snapshot.valid()) {
      return {StatusCode::DriverError,
              Format("the list of processes cannot be had (%lu)", GetLastError())};
    }
    entries_.clear();
    PROCESSENTRY32W entry{};
    entry.dwSize = sizeof(entry);
    for (BOOL more = Process32FirstW(snapshot.get(), &entry); more;
         more = Process32NextW(snapshot.get(), &entry)) {
      entries_.push_back({entry.th32ProcessID, entry.th32ParentProcessID, Narrow(entry.szExeFile)});
    }
    return Status::Ok();
  }

  std::optional<ProcessInfo> Find(uint32_t pid) override {
    const auto found = std::find_if(entries_.begin(), entries_.end(),
                                    [pid](const Entry& entry) { return entry.pid == pid; });
    if (found == entries_.end()) return std::nullopt;
    return ProcessInfo{found->parent_pid, StartTime(pid), found->file_name};
  }

 private:
  struct Entry {
    uint32_t pid;
    uint32_t parent_pid;
    std::string file_name;
  };

  // Zero: not ours to ask.
  static uint64_t StartTime(uint32_t pid) {
    const WinHandle process(OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, pid));
    FILETIME created{};
    FILETIME exited{};
    FILETIME kernel{};
    FILETIME user{};
    if (!process.valid()) return 0;
    return GetProcessTimes(process.get(), &created, &exited, &kernel, &user) ? Joined(created) : 0;
  }

  std::vector<Entry> entries_;
};

}  // namespace

std::unique_ptr<IProcessTable> MakeProcessTable() {
  return std::make_unique<SnapshotProcessTable>();
}

}  // namespace orventa
