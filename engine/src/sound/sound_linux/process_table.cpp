#include "sound/process_table.h"

#include <unistd.h>

#include <climits>

#include "base/base_linux/process_stat.h"
#include "base/files.h"
#include "base/text.h"

namespace orventa {
namespace {

// The system is asked anew each time: that costs two short reads.
class ProcProcessTable final : public IProcessTable {
 public:
  Status Refresh() override { return Status::Ok(); }

  std::optional<ProcessInfo> Find(uint32_t pid) override {
    const auto stat = ReadProcessStat(pid);
    if (!stat) return std::nullopt;
    char path[PATH_MAX];
    const ssize_t length = readlink(Format("/proc/%u/exe", pid).c_str(), path, sizeof path);
    ProcessInfo info;
    info.parent_pid = stat->parent_pid;
    info.started = stat->start_ticks;
    if (length > 0) info.file_name = FileName({path, static_cast<size_t>(length)});
    return info;
  }
};

}  // namespace

std::unique_ptr<IProcessTable> MakeProcessTable() {
  return std::make_unique<ProcProcessTable>();
}

}  // namespace orventa
