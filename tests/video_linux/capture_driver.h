// Takes frames from a capture the way the engine does, one call after the other,
// until what the test waits for is there.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <memory>

#include "base/clock.h"
#include "media/memory_picture.h"
#include "video/capture.h"

namespace orventa {

inline CaptureTarget WindowTarget(uint32_t window) {
  CaptureTarget target;
  target.kind = CaptureTarget::Kind::Window;
  target.window = window;
  return target;
}

// 0xRRGGBB; the fourth byte has no meaning.
inline uint32_t PixelOf(const CapturedFrame& frame, uint32_t x, uint32_t y) {
  const PlaneView& plane = frame.picture->InMemory()->plane(0);
  const uint8_t* pixel = plane.data + y * plane.stride + size_t{x} * 4;
  return uint32_t{pixel[2]} << 16 | uint32_t{pixel[1]} << 8 | pixel[0];
}

class CaptureDriver {
 public:
  explicit CaptureDriver(IVideoCapture& capture) : capture_(capture) {}

  CapturedFrame frame;
  int fresh = 0;  // frames that came fresh
  int size_changes = 0;

  // Takes frames until one fulfils the condition; false after ten seconds.
  bool Until(const std::function<bool(const CapturedFrame&)>& condition) {
    const uint64_t end_ns = clock_->SteadyNs() + 10 * kNsPerSecond;
    while (clock_->SteadyNs() < end_ns) {
      if (Take() && condition(frame)) return true;
      clock_->SleepUntil(clock_->SteadyNs() + kNsPerMs);
    }
    return false;
  }

  bool UntilPixel(uint32_t x, uint32_t y, uint32_t colour) {
    return Until([=](const CapturedFrame& f) {
      return x < f.width && y < f.height && PixelOf(f, x, y) == colour;
    });
  }

  // Takes frames until none has come fresh for a while: what was drawn before has
  // been seen.
  void Settle() {
    for (int quiet = 0; quiet < 20;) {
      const int before = fresh;
      Take();
      quiet = fresh == before ? quiet + 1 : 0;
      clock_->SleepUntil(clock_->SteadyNs() + kNsPerMs);
    }
  }

  // Frames that come fresh of what is done now.
  int FreshOf(const std::function<void()>& what) {
    Settle();
    fresh = 0;
    what();
    Settle();
    return fresh;
  }

  bool Take() {
    if (!capture_.TryAcquire(frame)) return false;
    fresh += frame.fresh ? 1 : 0;
    size_changes += frame.size_changed ? 1 : 0;
    return true;
  }

 private:
  IVideoCapture& capture_;
  const std::unique_ptr<IClock> clock_ = MakeSystemClock();
};

}  // namespace orventa
