#include "mp4/buffered_file.h"

#include <cstring>

namespace orventa {
namespace {

constexpr size_t kBufferBytes = size_t{1} << 20;

}  // namespace

BufferedFile::BufferedFile() : buffer_(std::make_unique_for_overwrite<uint8_t[]>(kBufferBytes)) {}

bool BufferedFile::Append(std::span<const uint8_t> bytes) {
  if (!error_.ok()) return false;
  if (bytes.size() > kBufferBytes - gathered_ && !Flush()) return false;
  if (bytes.size() >= kBufferBytes) return WriteOut(bytes);
  if (!bytes.empty()) std::memcpy(buffer_.get() + gathered_, bytes.data(), bytes.size());
  gathered_ += bytes.size();
  return true;
}

FileResult BufferedFile::Close() {
  if (error_.ok()) (void)Flush();
  const FileResult closed = file_.Close();
  if (error_.ok()) error_ = closed;
  return error_;
}

bool BufferedFile::Flush() {
  const size_t bytes = gathered_;
  gathered_ = 0;
  return WriteOut({buffer_.get(), bytes});
}

bool BufferedFile::WriteOut(std::span<const uint8_t> bytes) {
  if (!bytes.empty()) error_ = file_.Write(bytes);
  return error_.ok();
}

Status DriveFullFailure() {
  return {StatusCode::DriveFull, "the drive is full"};
}

Status WriteFailure(const FileResult& result) {
  if (result.error == FileError::DriveFull) return DriveFullFailure();
  return {StatusCode::DriverError, "write error"};
}

}  // namespace orventa
