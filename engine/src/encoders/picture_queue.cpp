#include "encoders/picture_queue.h"

#include <utility>

namespace orventa {

Status PictureQueue::CheckRoom() const {
  if (submitted_ - collected_ < kSlots) return Status::Ok();
  return {StatusCode::OutOfMemory, "too many packets wait to be collected"};
}

void PictureQueue::Add(const EncoderFrame& frame) {
  since_keyframe_ = IsKeyframe(frame) ? 0 : since_keyframe_ + 1;
  Slot& slot = slots_[submitted_ % kSlots];
  slot.pts = frame.pts;
  slot.picture = frame.picture;
  ++submitted_;
}

Status PictureQueue::Keep(uint64_t time_ns, uint64_t tolerance_ns, bool keyframe, Payload data) {
  Slot& slot = slots_[encoded_ % kSlots];
  const uint64_t beside_ns = time_ns > slot.pts ? time_ns - slot.pts : slot.pts - time_ns;
  if (encoded_ == submitted_ || beside_ns > tolerance_ns) {
    return {StatusCode::DriverError, "the encoder gave packets out of order"};
  }
  slot.packet.data = std::move(data);
  slot.packet.pts = slot.packet.dts = static_cast<int64_t>(slot.pts);
  slot.packet.keyframe = keyframe;
  slot.picture.reset();
  ++encoded_;
  return Status::Ok();
}

EncodedPacket PictureQueue::Take() {
  return std::move(slots_[collected_++ % kSlots].packet);
}

}  // namespace orventa
