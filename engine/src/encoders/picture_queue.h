// The pictures inside an encoder that gives packets in the order of submission, the
// packets that wait to be collected, which pictures are to be keyframes, and whether any
// may still come. Part of an encoder, which is used by one thread at a time.
#pragma once

#include <array>
#include <cstdint>
#include <utility>

#include "encoders/encoder.h"

namespace orventa {

class PictureQueue {
 public:
  // A library asks for no more than this before it gives a packet back.
  static constexpr uint64_t kSlots = 64;

  explicit PictureQueue(uint32_t keyframe_distance) : keyframe_distance_(keyframe_distance) {}

  // The errors that every encoder of this kind has for a frame in the wrong moment.
  Status CheckNext() const;
  // Whether the frame, if it is the next one, begins a group.
  bool IsKeyframe(const EncoderFrame& frame) const {
    return frame.force_keyframe || submitted_ == 0 || since_keyframe_ + 1 == keyframe_distance_;
  }
  // The frame was taken; its picture, if there is one, is held until its packet comes.
  // `time` is what the encoder is to give back with that, in whatever unit.
  void Add(const EncoderFrame& frame, uint64_t time);
  // The packet of the oldest picture inside, whose time as the encoder gives it back
  // may lie `tolerance` beside its own. DriverError when it is another's.
  Status Keep(uint64_t time, uint64_t tolerance, bool keyframe, Payload data);
  // No more frames come. False: that was known.
  bool BeginDrain() { return !std::exchange(draining_, true); }

  bool draining() const { return draining_; }
  uint64_t Submitted() const { return submitted_; }
  uint64_t Inside() const { return submitted_ - encoded_; }
  bool HasPacket() const { return collected_ < encoded_; }
  // There must be one.
  EncodedPacket Take();

 private:
  struct Slot {
    uint64_t time = 0;
    PictureRef picture;
    EncodedPacket packet;
  };

  uint32_t keyframe_distance_;
  // Picture n lies in slot n % kSlots. collected_ <= encoded_ <= submitted_.
  std::array<Slot, kSlots> slots_;
  uint64_t submitted_ = 0;
  uint64_t encoded_ = 0;
  uint64_t collected_ = 0;
  uint64_t since_keyframe_ = 0;
  bool draining_ = false;
};

}  // namespace orventa
