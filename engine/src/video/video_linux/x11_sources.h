// Where the pixels of a capture target lie at the moment: a rectangle of the root
// window for a display, a pixmap of its own for a window. A source follows the
// events that change this. Used by X11Capture, on its thread.
#pragma once

#include <cstdint>
#include <memory>

#include "base/status.h"
#include "video/capture.h"
#include "video/video_linux/x11_connection.h"

namespace orventa {

// A rectangle of a drawable. Drawable 0: there is nothing to fetch now.
struct PixelSource {
  xcb_drawable_t drawable = 0;
  int16_t x = 0;
  int16_t y = 0;
  uint16_t width = 0;
  uint16_t height = 0;

  bool operator==(const PixelSource&) const = default;
};

class IX11Source {
 public:
  virtual ~IX11Source() = default;
  virtual void OnEvent(const xcb_generic_event_t& event) = 0;
  // Looks again at what events have put in doubt. Returns whether the pixels are
  // other ones than before.
  virtual bool Settle() = 0;
  virtual const PixelSource& pixels() const = 0;
  virtual bool IsGone() const = 0;
  // What draws into the target, for watching damage.
  virtual xcb_drawable_t drawn() const = 0;
  // Whether damage in this rectangle of drawn() shows in the target.
  virtual bool IsShown(const xcb_rectangle_t& area) const = 0;
  // The window that positions in the target are relative to, and the target's
  // place in it.
  virtual xcb_window_t frame_of_reference() const = 0;
  virtual int16_t left() const = 0;
  virtual int16_t top() const = 0;
};

// The source must not outlive the connection.
Status MakeX11Source(X11Connection& connection, const CaptureTarget& target,
                     std::unique_ptr<IX11Source>& out);

}  // namespace orventa
