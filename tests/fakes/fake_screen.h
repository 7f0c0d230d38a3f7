// A screen that captures show: its size, its pictures and its end are knobs of the
// test. One screen serves every capture that is made of it; the fake clock keeps
// threads apart.
#pragma once

#include <cstring>
#include <memory>
#include <stdexcept>

#include "base/clock.h"
#include "media/memory_picture.h"
#include "video/capture.h"

namespace orventa {

struct FakeScreen {
  explicit FakeScreen(IClock& the_clock) : clock(the_clock) {}

  IClock& clock;

  // Knobs.
  uint32_t width = 640;
  uint32_t height = 360;
  PixelFormat format = PixelFormat::Bgra8;
  uint8_t shade = 0;             // of every byte of a picture
  bool blank = false;            // no picture ever comes
  uint64_t fresh_every_ns = 0;   // 0: every time it is asked
  uint64_t acquire_cost_ns = 0;  // what taking a picture takes
  bool gone = false;             // the target closed
  bool throws = false;           // taking a picture throws
  DisplayDescription display;

  // Counters.
  int captures_made = 0;
  int captures_alive = 0;
  int acquires = 0;
};

class FakeCapture final : public IVideoCapture {
 public:
  explicit FakeCapture(FakeScreen& screen) : screen_(screen), display_(screen.display) {
    ++screen_.captures_made;
    ++screen_.captures_alive;
  }
  ~FakeCapture() override { --screen_.captures_alive; }

  Status Start() override {
    running_ = true;
    return {};
  }
  void Stop() override { running_ = false; }
  bool IsRunning() const override { return running_; }
  bool TryAcquire(CapturedFrame& frame) override {
    ++screen_.acquires;
    if (screen_.throws) throw std::runtime_error("the screen broke");
    if (screen_.acquire_cost_ns > 0) {
      screen_.clock.SleepUntil(screen_.clock.SteadyNs() + screen_.acquire_cost_ns);
    }
    if (screen_.blank) return false;
    frame.fresh = Refresh();
    frame.size_changed = frame.fresh && frame.picture != nullptr &&
                         (frame.width != picture_->width() || frame.height != picture_->height());
    frame.picture = picture_;
    frame.width = picture_->width();
    frame.height = picture_->height();
    frame.time_ns = newest_at_ns_;
    return true;
  }
  uint32_t Width() const override { return screen_.width; }
  uint32_t Height() const override { return screen_.height; }
  DisplayDescription Display() const override { return display_; }
  bool SetDrawnSdr(bool) override { return false; }
  bool IsDrawnSdr() const override { return false; }
  bool TryAcquireSide(CapturedFrame&) override { return false; }
  DisplayDescription CurrentDisplay() override { return screen_.display; }
  bool TargetGone() const override { return screen_.gone; }

 private:
  // Whether a new picture has come since the last call.
  bool Refresh() {
    const uint64_t now = screen_.clock.SteadyNs();
    const bool resized = picture_ == nullptr || picture_->width() != screen_.width ||
                         picture_->height() != screen_.height;
    if (!resized && now - newest_at_ns_ < screen_.fresh_every_ns) return false;
    if (resized) {
      picture_ = MemoryPicture::Allocate(screen_.format, screen_.width, screen_.height);
      const PlaneView& plane = picture_->plane(0);
      std::memset(plane.data, screen_.shade, plane.stride * screen_.height);
    }
    newest_at_ns_ = now;
    return true;
  }

  FakeScreen& screen_;
  DisplayDescription display_;
  bool running_ = false;
  std::shared_ptr<MemoryPicture> picture_;
  uint64_t newest_at_ns_ = 0;
};

}  // namespace orventa
