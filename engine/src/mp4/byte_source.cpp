#include "mp4/byte_source.h"

#include "mp4/failures.h"

namespace orventa {

Status FileSource::ReadAt(uint64_t offset, std::span<uint8_t> into) {
  size_t read = 0;
  const FileResult result = file_.ReadAt(offset, into, read);
  return result.ok() && read == into.size() ? Status::Ok() : ReadFailure(path_);
}

}  // namespace orventa
