// Walks boxes that come from outside: those in memory, bounded by their parent, and
// those of a file's top level. Used by the reader and by the repair of recordings.
// No walk leaves its bytes, whatever sizes it meets. One thread at a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "base/status.h"
#include "mp4/box_io.h"
#include "mp4/boxes.h"
#include "mp4/byte_source.h"

namespace orventa {

// What a size of 0 means where it is met.
enum class OpenBox {
  ToTheEnd,  // the box reaches to the end of its parent
  Damage,    // the walk ends there
};

// The start of a box as it stands in bytes or in a file.
struct BoxHead {
  uint32_t type = 0;
  uint32_t header_bytes = 0;
  uint64_t size = 0;  // header and all
};

// From the first bytes of a box of which `left` bytes lie within its parent. False
// when its header is torn, or its size below the header or above `left`.
bool ReadBoxHead(std::span<const uint8_t> bytes, uint64_t left, OpenBox open, BoxHead& head);

// A box in memory.
struct BoxView {
  uint32_t type = 0;
  size_t offset = 0;  // of its header in what is walked
  std::span<const uint8_t> body;

  bool IsUuid(const BoxUuid& uuid) const;
  // What stands after the 16 bytes of type, of a box that IsUuid.
  std::span<const uint8_t> AfterUuid() const { return body.subspan(BoxUuid{}.size()); }
};

// The children in a box's body. The bytes must outlive the walk and its views.
class BoxReader {
 public:
  explicit BoxReader(std::span<const uint8_t> bytes) : bytes_(bytes) {}

  // False at the end, and at a box that does not fit.
  bool Next(BoxView& box);

 private:
  std::span<const uint8_t> bytes_;
  size_t position_ = 0;
};

// The first child of a type; none when there is none.
std::optional<BoxView> FindBox(std::span<const uint8_t> bytes, uint32_t type);

// A box in a file.
struct FileBox : BoxHead {
  uint64_t offset = 0;  // of its header

  uint64_t body_offset() const { return offset + header_bytes; }
  uint64_t body_bytes() const { return size - header_bytes; }
  uint64_t end() const { return offset + size; }
};

// The boxes of a file's top level. The source must outlive the walk.
class FileBoxReader {
 public:
  // Boxes lie whole before `end`.
  FileBoxReader(IByteSource& source, uint64_t end, OpenBox open)
      : source_(source), end_(end), open_(open) {}

  // False at the end, at a box that is not whole, and at a failed read.
  bool Next(FileBox& box);
  // Whether the box that Next gave last is a `uuid` box of this type.
  bool IsUuid(const BoxUuid& uuid) const { return uuid_ == uuid; }
  // Where the last whole box ended.
  uint64_t end_of_whole() const { return position_; }
  // Ok when the walk ended at the end or at a torn box.
  const Status& status() const { return status_; }

  // Up to `count` bytes from a place on, less at the source's end. Valid until the
  // walk goes on.
  Status View(uint64_t offset, uint64_t count, std::span<const uint8_t>& out);

 private:
  IByteSource& source_;
  uint64_t end_;
  OpenBox open_;
  uint64_t position_ = 0;        // of the next box
  std::optional<BoxUuid> uuid_;  // of the box that Next gave last
  Status status_;
  // Small boxes in a row are read together, so that a file full of them is no
  // slower to walk than to read.
  std::vector<uint8_t> window_;
  uint64_t window_offset_ = 0;
};

}  // namespace orventa
