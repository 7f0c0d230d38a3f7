// A keyframe and what depends on it, as the history holds it and as its snapshots
// share it. The newest group of a history grows under the history's lock; every
// other one is immutable, so that a snapshot need not touch its packets.
#pragma once

#include <cstdint>
#include <vector>

#include "media/payload.h"

namespace orventa {

// Small, since an hour holds hundreds of thousands. A packet is a keyframe if and
// only if it is the first of its group.
struct HeldPacket {
  Payload payload;  // none while it lies on disk
  uint64_t pts = 0;
  uint64_t dts = 0;
  uint64_t offset = 0;  // in the group's payload file
  uint64_t size = 0;
};

struct KeyframeGroup {
  std::vector<HeldPacket> packets;
  uint64_t start_pts = 0;
  uint64_t end_pts = 0;  // greatest pts
  uint64_t bytes = 0;
  uint64_t segment = 0;  // the payload file, while on disk
};

}  // namespace orventa
