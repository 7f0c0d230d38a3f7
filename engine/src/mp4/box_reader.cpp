#include "mp4/box_reader.h"

#include <algorithm>

namespace orventa {
namespace {

constexpr uint32_t kUuidType = FourCc("uuid");
constexpr size_t kUuidBytes = BoxUuid{}.size();

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
  uuid_found_ = false;
  if (position_ >= file_bytes_) return false;
  const auto head = Look(position_, kLargeBoxHeaderBytes);
  if (!ReadBoxHead(head, file_bytes_ - position_, open_, box)) return false;
  box.offset = position_;
  if (box.type == kUuidType && box.body_bytes() >= kUuidBytes) {
    const auto type = Look(box.body_offset(), kUuidBytes);
    uuid_found_ = type.size() == kUuidBytes;
    std::copy(type.begin(), type.end(), uuid_.begin());
  }
  position_ = box.end();
  return true;
}

bool FileBoxReader::IsUuid(const BoxUuid& uuid) const {
  return uuid_found_ && uuid_ == uuid;
}

std::span<const uint8_t> FileBoxReader::Look(uint64_t offset, size_t most) {
  const auto wanted = static_cast<size_t>(std::min<uint64_t>(most, file_bytes_ - offset));
  if (offset < window_offset_ || offset - window_offset_ + wanted > window_bytes_) {
    window_offset_ = offset;
    window_bytes_ = 0;
    const auto readable =
        static_cast<size_t>(std::min<uint64_t>(window_.size(), file_bytes_ - offset));
    error_ = file_.ReadAt(offset, std::span(window_).first(readable), window_bytes_);
    if (!error_.ok()) window_bytes_ = 0;
  }
  const auto from = static_cast<size_t>(offset - window_offset_);
  return std::span(window_).subspan(from, std::min(wanted, window_bytes_ - from));
}

bool ReadExactly(const InputFile& file, uint64_t offset, std::span<uint8_t> into) {
  size_t read = 0;
  return file.ReadAt(offset, into, read).ok() && read == into.size();
}

}  // namespace orventa
