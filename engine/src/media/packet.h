// Encoded packets: as an encoder gives them, and as histories and files hold them.
#pragma once

#include <cstdint>
#include <memory>

#include "media/payload.h"

namespace orventa {

// One encoded access unit or sound frame. Times are nanoseconds on the session
// timeline.
struct EncodedPacket {
  Payload data;
  int64_t pts = 0;
  int64_t dts = 0;
  bool keyframe = false;
};

// Payloads that packets do not hold themselves: they lie on disk, or in memory that
// is shared as a whole. Used by one thread at a time.
class IDeferredPayloads {
 public:
  virtual ~IDeferredPayloads() = default;
  // The payload's bytes, or none when they cannot be read whole.
  virtual Payload Read(uint64_t index) = 0;
  // Its size, 0 for an index that there is not. Reads nothing.
  virtual uint64_t Size(uint64_t index) const = 0;
};

// One access unit as a snapshot of the history holds it, and as the MP4 writer
// takes it: with its payload, or with a row of `deferred`.
struct BufferedPacket {
  Payload payload;
  uint64_t pts = 0;  // ns on the session timeline
  uint64_t dts = 0;
  bool keyframe = false;
  std::shared_ptr<IDeferredPayloads> deferred;
  uint64_t deferred_index = 0;

  // Bytes of the payload, wherever it lies.
  uint64_t Size() const { return deferred ? deferred->Size(deferred_index) : payload.size(); }
  // The payload, read when it has to be; none when that fails.
  Payload Load() const { return deferred ? deferred->Read(deferred_index) : payload; }
};

}  // namespace orventa
