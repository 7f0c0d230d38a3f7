// A file being written front to back in large pieces of whole pages: small ones
// are gathered, large ones go out without being copied. Used by the clip writer.
// One thread at a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string_view>

#include "base/files.h"

namespace orventa {

class BufferedFile {
 public:
  BufferedFile();

  // Creates the file or cuts an existing one to nothing. Call once.
  FileResult Create(std::string_view path) { return file_.Create(path); }

  // The first failure sticks, and makes every later call return it at once.
  bool Append(std::span<const uint8_t> bytes);
  // Writes what is gathered and closes, also after a failure. Tells the first
  // failure of all.
  FileResult Close();
  const FileResult& error() const { return error_; }

 private:
  std::span<const uint8_t> Gather(std::span<const uint8_t> bytes, size_t count);
  bool Flush();
  bool WriteOut(std::span<const uint8_t> bytes);

  OutputFile file_;
  std::unique_ptr<uint8_t[]> buffer_;
  size_t gathered_ = 0;
  FileResult error_;
};

}  // namespace orventa
