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
  if (!FileExists(path)) return ReadFailure(path);
  if (CheckNotInUse(path).error == FileError::InUse) return DriverFailure("still being written");
  RepairPlan plan;
  uint64_t size = 0;
  {
    InputFile file;
    if (!file.Open(path).ok()) return DriverFailure(Quoted("cannot open", path));
    if (!file.Size(size).ok()) return ReadFailure(path);
    // A place that cannot be read must not pass for the end of the recording: all
    // behind it would be cut off.
    FileSource source(file, size, path);
    if (Status status = PlanRepair(source, plan); !status.ok()) return status;
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
