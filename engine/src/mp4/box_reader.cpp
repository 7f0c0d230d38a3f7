#include "mp4/box_reader.h"

#include <algorithm>

namespace orventa {
namespace {

constexpr uint32_t kUuidType = FourCc("uuid");
constexpr size_t kUuidBytes = BoxUuid{}.size();
// Enough for most fragments' `moof` and the head of the `mdat` behind it, so that a
// fragment costs one read.
constexpr uint64_t kWindowBytes = 1024;

}  // namespace

bool ReadBoxHead(std::span<const uint8_t> bytes, uint64_t left, OpenBox open, BoxHead& head) {
  ByteReader in(bytes);
  head.size = in.U32();
  head.type = in.U32();
  head.header_bytes = kBoxHeaderBytes;
  if (head.size == 1) {
    head.size = in.U64();
    head.header_bytes = kLargeBoxHeaderBytes;
  } else if (head.size == 0 && open == OpenBox::ToTheEnd) {
    head.size = left;
  }
  return !in.failed() && head.size >= head.header_bytes && head.size <= left;
}

bool BoxView::IsUuid(const BoxUuid& uuid) const {
  return type == kUuidType && body.size() >= kUuidBytes &&
         std::equal(uuid.begin(), uuid.end(), body.begin());
}

bool BoxReader::Next(BoxView& box) {
  const auto left = bytes_.subspan(position_);
  BoxHead head;
  if (!ReadBoxHead(left, left.size(), OpenBox::ToTheEnd, head)) return false;
  const auto size = static_cast<size_t>(head.size);
  box.type = head.type;
  box.offset = position_;
  box.body = left.subspan(head.header_bytes, size - head.header_bytes);
  position_ += size;
  return true;
}

std::optional<BoxView> FindBox(std::span<const uint8_t> bytes, uint32_t type) {
  BoxReader boxes(bytes);
  for (BoxView box; boxes.Next(box);) {
    if (box.type == type) return box;
  }
  return std::nullopt;
}

bool FileBoxReader::Next(FileBox& box) {
  uuid_.reset();
  if (position_ >= end_) return false;
  std::span<const uint8_t> head;
  status_ = View(position_, kLargeBoxHeaderBytes, head);
  if (!status_.ok() || !ReadBoxHead(head, end_ - position_, open_, box)) return false;
  box.offset = position_;
  if (box.type == kUuidType && box.body_bytes() >= kUuidBytes) {
    std::span<const uint8_t> uuid;
    status_ = View(box.body_offset(), kUuidBytes, uuid);
    if (!status_.ok()) return false;
    std::ranges::copy(uuid, uuid_.emplace().begin());
  }
  position_ = box.end();
  return true;
}

Status FileBoxReader::View(uint64_t offset, uint64_t count, std::span<const uint8_t>& out) {
  const uint64_t left = source_.Size() - offset;
  count = std::min(count, left);
  if (offset < window_offset_ || offset - window_offset_ + count > window_.size()) {
    window_.resize(static_cast<size_t>(std::min(std::max(count, kWindowBytes), left)));
    window_offset_ = offset;
    if (Status status = source_.ReadAt(offset, window_); !status.ok()) {
      window_.clear();
      return status;
    }
  }
  out = std::span<const uint8_t>(window_).subspan(static_cast<size_t>(offset - window_offset_),
                                                  static_cast<size_t>(count));
  return Status::Ok();
}

}  // namespace orventa
