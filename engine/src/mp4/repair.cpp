#include "mp4/repair.h"

#include <new>
#include <string>

#include "base/files.h"
#include "mp4/failures.h"
#include "mp4/recording_layout.h"
#include "mp4/repair_plan.h"

namespace orventa {
namespace {

Status DriverFailure(std::string what) {
  return {StatusCode::DriverError, std::move(what)};
}

std::string Quoted(const char* what, std::string_view path) {
  return std::string(what) + " '" + std::string(path) + "'";
}

class FileSource : public IByteSource {
 public:
  Status Open(std::string_view path) {
    path_ = path;
    if (!file_.Open(path).ok()) return DriverFailure(Quoted("cannot open", path_));
    return file_.Size(size_).ok() ? Status::Ok() : Unreadable();
  }

  uint64_t Size() const override { return size_; }

  // A place that cannot be read must not pass for the end of the recording: all
  // behind it would be cut off.
  Status ReadAt(uint64_t offset, std::span<uint8_t> into) override {
    size_t read = 0;
    const FileResult result = file_.ReadAt(offset, into, read);
    return result.ok() && read == into.size() ? Status::Ok() : Unreadable();
  }

 private:
  Status Unreadable() const { return DriverFailure(Quoted("cannot read", path_)); }

  std::string path_;
  InputFile file_;
  uint64_t size_ = 0;
};

// The order makes it safe to die anywhere: until the last write the file is an
// interrupted recording, at most with an index that nobody points to.
Status CarryOut(std::string_view path, uint64_t size, const RepairPlan& plan) {
  if (plan.cut_point < size) {
    const FileResult cut = CutFile(path, plan.cut_point);
    if (!cut.ok()) return DriverFailure("cannot trim the interrupted fragment: " + cut.Text());
  }
  OutputFile file;
  if (!file.Continue(path).ok()) return DriverFailure(Quoted("cannot reopen", path));
  FileResult result = AppendIndex(file, plan.moov);
  if (result.ok()) result = WriteMediaHeader(file, plan.header_offset, plan.cut_point);
  const FileResult closed = file.Close();
  if (result.ok()) result = closed;
  return result.ok() ? Status::Ok() : WriteFailure(result);
}

Status Finish(std::string_view path) {
  if (!FileExists(path)) return DriverFailure(Quoted("cannot read", path));
  if (CheckNotInUse(path).error == FileError::InUse) return DriverFailure("still being written");
  RepairPlan plan;
  uint64_t size = 0;
  {
    FileSource source;
    if (Status status = source.Open(path); !status.ok()) return status;
    if (Status status = PlanRepair(source, plan); !status.ok()) return status;
    size = source.Size();
  }
  return CarryOut(path, size, plan);
}

}  // namespace

Status FinishInterrupted(std::string_view path) {
  try {
    return Finish(path);
  } catch (const std::bad_alloc&) {
    return OutOfMemoryFailure();
  }
}

}  // namespace orventa
