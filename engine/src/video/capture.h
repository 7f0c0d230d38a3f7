// Screen capture: the newest picture of one display or one window, taken once per
// frame slot without blocking. Engine thread only.
#pragma once

#include <cstdint>
#include <stdexcept>

#include "base/status.h"
#include "media/picture.h"

namespace orventa {

struct CaptureTarget {
  enum class Kind : uint32_t { PrimaryMonitor = 0, Monitor = 1, Window = 2 };
  Kind kind = Kind::PrimaryMonitor;
  uint64_t monitor = 0;  // the platform's handle, 0 when unused
  uint64_t window = 0;

  bool operator==(const CaptureTarget&) const = default;
};

struct CaptureOptions {
  bool capture_cursor = true;
  uint32_t fps = 60;
  bool treat_as_sdr = false;  // no HDR handling at all
};

// The display under the target.
struct DisplayDescription {
  bool hdr_on = false;
  float sdr_white = 1.0F;      // multiples of 80 nits
  float peak = 1.0F;           // likewise
  float chromaticity[8] = {};  // red x, y; green x, y; blue x, y; white x, y; 0 unknown
};

struct CapturedFrame {
  PictureRef picture;  // valid until the next TryAcquire
  uint32_t left = 0;   // where in the picture the target begins: 0 but in side frames
  uint32_t top = 0;
  uint32_t width = 0;  // pixels
  uint32_t height = 0;
  uint64_t time_ns = 0;   // when the system composed it, steady clock
  bool fresh = false;     // this call took a new picture; false: the last one again
  uint32_t drain_us = 0;  // time spent emptying the queue of older pictures
  bool size_changed = false;
};

// What a capture throws when it cannot go on: the system's side of it hangs or
// is gone. Another capture may work, now or later.
class CaptureError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

class IVideoCapture {
 public:
  virtual ~IVideoCapture() = default;

  virtual Status Start() = 0;
  virtual void Stop() = 0;
  virtual bool IsRunning() const = 0;
  // False while no picture has ever come. DeviceLost and the like surface as
  // exceptions of type CaptureError.
  virtual bool TryAcquire(CapturedFrame& frame) = 0;
  virtual uint32_t Width() const = 0;  // the target's size as last seen
  virtual uint32_t Height() const = 0;
  virtual DisplayDescription Display() const = 0;  // as it was when capture began
  // HDR displays only: take 8-bit pictures because the game draws in SDR.
  virtual bool SetDrawnSdr(bool drawn_sdr) = 0;
  virtual bool IsDrawnSdr() const = 0;
  // A picture in full range while SetDrawnSdr is on, about one a second.
  virtual bool TryAcquireSide(CapturedFrame& frame) = 0;
  virtual DisplayDescription CurrentDisplay() = 0;  // of the display under the target now
  virtual bool TargetGone() const = 0;
};

}  // namespace orventa
