#include "encoders/picture_queue.h"

namespace orventa {

Status PictureQueue::CheckNext() const {
  if (draining_) return {StatusCode::InvalidArgument, "Submit after Drain"};
  if (submitted_ - collected_ < kSlots) return Status::Ok();
  return {StatusCode::OutOfMemory, "too many packets wait to be collected"};
}

void PictureQueue::Add(const EncoderFrame& frame, uint64_t time) {
  since_keyframe_ = IsKeyframe(frame) ? 0 : since_keyframe_ + 1;
  Slot& slot = slots_[submitted_ % kSlots];
  slot.time = time;
  slot.packet.pts = slot.packet.dts = static_cast<int64_t>(frame.pts);
  slot.picture = frame.picture;
  ++submitted_;
}

Status PictureQueue::Keep(uint64_t time, uint64_t tolerance, bool keyframe, Payload data) {
  Slot& slot = slots_[encoded_ % kSlots];
  const uint64_t beside = time > slot.time ? time - slot.time : slot.time - time;
  if (encoded_ == submitted_ || beside > tolerance) {
    return {StatusCode::DriverError, "the encoder gave packets out of order"};
  }
  slot.packet.data = std::move(data);
  slot.packet.keyframe = keyframe;
  slot.picture.reset();
  ++encoded_;
  return Status::Ok();
}

EncodedPacket PictureQueue::Take() {
  return std::move(slots_[collected_++ % kSlots].packet);
}

}  // namespace orventa
