// Finished packets on their way out of an encoder, and the failure that Next tells.
// For the encoders themselves; one thread at a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <utility>
#include <vector>

#include "base/status.h"
#include "sound/aac.h"

namespace orventa {

class AacQueue {
 public:
  void Add(std::span<const uint8_t> bytes, uint64_t pts) {
    if (finished_ == slots_.size()) slots_.emplace_back();
    AacPacket& slot = slots_[finished_];
    slot.bytes.reserve(kLargestPacket);
    slot.bytes.assign(bytes.begin(), bytes.end());
    slot.pts = pts;
    ++finished_;
  }

  // The first failure is the one that tells why.
  void Fail(Status status) {
    if (failure_.ok()) failure_ = std::move(status);
  }

  bool Next(AacPacket& packet, Status& status) {
    status = std::exchange(failure_, Status::Ok());
    if (taken_ == finished_) return false;
    std::swap(packet, slots_[taken_++]);
    if (taken_ == finished_) taken_ = finished_ = 0;
    return true;
  }

 private:
  // AAC allows 6144 bits a channel.
  static constexpr size_t kLargestPacket = size_t{2} * 6144 / 8;

  // From taken_ to finished_ lie packets; the others keep their memory for later.
  std::vector<AacPacket> slots_;
  size_t taken_ = 0;
  size_t finished_ = 0;
  Status failure_;
};

}  // namespace orventa
