// IVideoCapture for an X11 display or window: asks the server for new pixels when
// something was drawn, and draws the pointer in. Engine thread.
#pragma once

#include <memory>
#include <optional>

#include "base/clock.h"
#include "video/capture.h"
#include "video/video_linux/x11_connection.h"
#include "video/video_linux/x11_cursor.h"
#include "video/video_linux/x11_pictures.h"
#include "video/video_linux/x11_sources.h"

namespace orventa {

class X11Capture final : public IVideoCapture {
 public:
  static Status Create(IClock& clock, const CaptureTarget& target, const CaptureOptions& options,
                       std::unique_ptr<IVideoCapture>& out);

  Status Start() override;
  void Stop() override;
  bool IsRunning() const override { return running_; }
  bool TryAcquire(CapturedFrame& frame) override;
  uint32_t Width() const override { return width_; }
  uint32_t Height() const override { return height_; }
  // X11 has no HDR and tells nothing of a display's colours.
  DisplayDescription Display() const override { return {}; }
  bool SetDrawnSdr(bool) override { return false; }
  bool IsDrawnSdr() const override { return false; }
  bool TryAcquireSide(CapturedFrame&) override { return false; }
  DisplayDescription CurrentDisplay() override { return {}; }
  bool TargetGone() const override { return source_->IsGone(); }

 private:
  X11Capture(IClock& clock, const CaptureOptions& options,
             std::unique_ptr<X11Connection> connection, std::unique_ptr<IX11Source> source);

  void ReadEvents();
  void OnDamage(const xcb_generic_event_t& event);
  void Ask();
  bool CollectPicture(uint64_t until_ns);
  bool DrawCursor(bool new_picture);
  void ThrowIfBroken() const;

  // Where the pointer shows in the picture, and in which shape. All places where
  // it does not show are the same.
  struct CursorPlace {
    bool shown = false;
    int x = 0;
    int y = 0;
    uint32_t shape_number = 0;
    bool operator==(const CursorPlace&) const = default;
  };
  CursorPlace CursorNow() const;

  IClock& clock_;
  // How long one call may wait for an answer. A later answer serves a later call.
  const uint64_t patience_ns_;
  std::unique_ptr<X11Connection> connection_;
  std::unique_ptr<IX11Source> source_;
  X11Pictures pictures_;
  std::optional<X11Cursor> cursor_;
  CursorPainter painter_;
  CursorPlace drawn_place_;
  xcb_window_t damage_ = 0;  // 0: the server tells of no damage
  bool running_ = false;
  bool dirty_ = true;  // something was drawn since the last picture was asked for
  uint64_t asked_ns_ = 0;
  uint32_t width_;
  uint32_t height_;
  std::shared_ptr<MemoryPicture> last_;
  uint64_t last_ns_ = 0;
};

}  // namespace orventa
