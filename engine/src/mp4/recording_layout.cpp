#include "mp4/recording_layout.h"

#include <vector>

#include "mp4/box_io.h"

namespace orventa {

static_assert(kPlaceholderBytes == kLargeBoxHeaderBytes);

FileResult AppendIndex(OutputFile& file, std::span<const uint8_t> moov) {
  const FileResult written = file.Write(moov);
  return written.ok() ? file.CommitToMedium() : written;
}

FileResult WriteMediaHeader(OutputFile& file, uint64_t header_offset, uint64_t moov_offset) {
  std::vector<uint8_t> header;
  ByteWriter out(header);
  WriteLargeBoxHeader(out, FourCc("mdat"), moov_offset - header_offset);
  return file.WriteAt(header_offset, header);
}

}  // namespace orventa
