#include "video/pace_log.h"

#include <cinttypes>
#include <span>

#include "base/log.h"
#include "base/text.h"

namespace orventa {
namespace {

constexpr char kHeader[] =
    "slot\treached\tacquire_us\tconvert_us\tsubmit_us\tcollect_us\trest_us\tdrain_us\tfresh\n";
constexpr size_t kWriteBytes = 1U << 20U;

}  // namespace

PaceLog::PaceLog(const std::string& path) {
  if (path.empty()) return;
  if (const FileResult made = file_.Create(path); !made.ok()) {
    LogWarning("no pace log at %s: %s", path.c_str(), made.Text().c_str());
    return;
  }
  rows_.reserve(kMaxRows);
}

void PaceLog::Write() {
  if (rows_.empty()) return;
  std::string text = kHeader;
  FileResult written;
  const auto flush = [&] {
    if (written.ok()) {
      written = file_.Write({reinterpret_cast<const uint8_t*>(text.data()), text.size()});
    }
    text.clear();
  };
  for (const PaceRow& row : rows_) {
    text += Format("%" PRIu64 "\t%" PRIu64 "\t%u\t%u\t%u\t%u\t%u\t%u\t%d\n", row.slot, row.reached,
                   row.acquire_us, row.convert_us, row.submit_us, row.collect_us, row.rest_us,
                   row.drain_us, row.fresh ? 1 : 0);
    if (text.size() >= kWriteBytes) flush();
  }
  flush();
  rows_.clear();
  if (!written.ok()) LogWarning("the pace log could not be written: %s", written.Text().c_str());
}

}  // namespace orventa
