// Bytes that are read by their place: those of a file, or of memory where a test
// stands in for one. Used by the reader and the repair. One thread at a time.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "base/files.h"
#include "base/status.h"

namespace orventa {

class IByteSource {
 public:
  virtual ~IByteSource() = default;
  virtual uint64_t Size() const = 0;
  // Fills all of `into`, which lies within the size, or fails.
  virtual Status ReadAt(uint64_t offset, std::span<uint8_t> into) = 0;
};

// An open file, which must outlive it and have been `size` bytes long.
class FileSource final : public IByteSource {
 public:
  FileSource(const InputFile& file, uint64_t size, std::string_view path)
      : file_(file), size_(size), path_(path) {}

  uint64_t Size() const override { return size_; }
  Status ReadAt(uint64_t offset, std::span<uint8_t> into) override;

 private:
  const InputFile& file_;
  const uint64_t size_;
  const std::string path_;
};

}  // namespace orventa
