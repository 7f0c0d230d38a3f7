#include "mp4/buffered_file.h"

#include <cstring>

namespace orventa {
namespace {

constexpr size_t kPageBytes = 4096;
// A whole number of pages.
constexpr size_t kBufferBytes = size_t{1} << 20;
// From here on a piece costs less as a write of its own than as a copy.
constexpr size_t kDirectBytes = size_t{32} << 10;

}  // namespace

BufferedFile::BufferedFile() : buffer_(std::make_unique_for_overwrite<uint8_t[]>(kBufferBytes)) {}

bool BufferedFile::Append(std::span<const uint8_t> bytes) {
  if (!error_.ok()) return false;
  if (bytes.size() >= kDirectBytes) {
    // Topped up to whole pages, so that every write of ours begins on one.
    bytes = Gather(bytes, (kPageBytes - gathered_ % kPageBytes) % kPageBytes);
    const size_t direct = bytes.size() / kPageBytes * kPageBytes;
    if (!Flush() || !WriteOut(bytes.first(direct))) return false;
    bytes = bytes.subspan(direct);
  } else if (bytes.size() > kBufferBytes - gathered_) {
    bytes = Gather(bytes, kBufferBytes - gathered_);
    if (!Flush()) return false;
  }
  (void)Gather(bytes, bytes.size());
  return true;
}

// Copies the first `count` bytes behind what is gathered, where there is room for
// them, and gives the rest.
std::span<const uint8_t> BufferedFile::Gather(std::span<const uint8_t> bytes, size_t count) {
  if (count > 0) std::memcpy(buffer_.get() + gathered_, bytes.data(), count);
  gathered_ += count;
  return bytes.subspan(count);
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

}  // namespace orventa
