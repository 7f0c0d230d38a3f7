#include "mp4/failures.h"

namespace orventa {

Status DriveFullFailure() {
  return {StatusCode::DriveFull, "the drive is full"};
}

Status WriteFailure(const FileResult& result) {
  if (result.error == FileError::DriveFull) return DriveFullFailure();
  return {StatusCode::DriverError, "write error"};
}

Status OpenFailure(std::string_view path) {
  return {StatusCode::InvalidArgument, "cannot open '" + std::string(path) + "'"};
}

Status ReadFailure(std::string_view path) {
  return {StatusCode::DriverError, "cannot read '" + std::string(path) + "'"};
}

Status ReorderedFailure() {
  return {StatusCode::InvalidArgument, "video with reordered frames (dts != pts) is not supported"};
}

Status OutOfMemoryFailure() {
  return {StatusCode::OutOfMemory, "out of memory"};
}

}  // namespace orventa
