// How a recording's file turns from fragments into an ordinary MP4: by its index at
// the end, then the header of a box around everything between. Used by Mp4Writer
// and the repair, which both end a file so.
#pragma once

#include <cstdint>
#include <span>

#include "base/files.h"

namespace orventa {

// A `free` box of nothing but a header with a 64-bit size, just as large as the
// header of the `mdat` that takes its place.
inline constexpr uint64_t kPlaceholderBytes = 16;

// The longest `moof` and the end of the sizes of recovery blocks that the repair
// believes in; the writer stays far below both.
inline constexpr uint64_t kMaxMoofBytes = 0x1000000;
inline constexpr uint64_t kMaxRecoveryBlockBytes = 0x100000;

// Appends the index and has everything on the medium before it returns: after that,
// and not before, the header may be written.
FileResult AppendIndex(OutputFile& file, std::span<const uint8_t> moov);
// The one write that finishes the file. The placeholder lies at `header_offset`,
// the index at `moov_offset`.
FileResult WriteMediaHeader(OutputFile& file, uint64_t header_offset, uint64_t moov_offset);

}  // namespace orventa
