// The pointer: where it is, how it looks, and drawing it into a picture so that it
// can be taken out again. Used by X11Capture, on its thread.
#pragma once

#include <xcb/xfixes.h>

#include <cstdint>
#include <vector>

#include "media/memory_picture.h"
#include "video/video_linux/x11_connection.h"

namespace orventa {

// The pointer's looks: premultiplied 32-bit pixels, the alpha in the top byte.
struct CursorShape {
  uint16_t width = 0;
  uint16_t height = 0;
  int16_t hot_x = 0;  // the pixel that points
  int16_t hot_y = 0;
  std::vector<uint32_t> pixels;
  bool visible = false;  // any pixel that is not wholly transparent
};

// Draws a shape into a picture and remembers what was beneath.
class CursorPainter {
 public:
  // The shape's pointing pixel lies at (x, y) of the picture; parts outside are
  // left away.
  void Draw(const MemoryPicture& picture, const CursorShape& shape, int x, int y);
  // Puts back what was beneath, in the picture that was last drawn into.
  void Erase(const MemoryPicture& picture);
  // Whether any visible part would lie inside the picture.
  static bool Touches(const MemoryPicture& picture, const CursorShape& shape, int x, int y);

 private:
  struct Rect {
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;
  };
  static Rect Place(const MemoryPicture& picture, const CursorShape& shape, int x, int y);

  Rect drawn_;
  std::vector<uint32_t> beneath_;
};

class X11Cursor {
 public:
  // `window`: positions are relative to its corner.
  X11Cursor(X11Connection& connection, xcb_window_t window);

  void OnEvent(const xcb_generic_event_t& event);
  // Asks where the pointer is, and for its shape when that changed.
  void Ask();
  // Takes the answers that have come until the steady clock reaches the time.
  void Collect(uint64_t until_ns);

  bool on_screen() const { return on_screen_; }
  int16_t x() const { return x_; }
  int16_t y() const { return y_; }
  const CursorShape& shape() const { return shape_; }
  // Grows with every new shape.
  uint32_t shape_number() const { return shape_number_; }

 private:
  void TakeShape(const xcb_xfixes_get_cursor_image_reply_t& reply);

  X11Connection& connection_;
  const xcb_window_t window_;
  bool shape_in_doubt_ = true;
  unsigned shape_sequence_ = 0;  // 0: not asked
  unsigned place_sequence_ = 0;
  bool on_screen_ = false;
  int16_t x_ = 0;
  int16_t y_ = 0;
  CursorShape shape_;
  uint32_t shape_number_ = 0;
};

}  // namespace orventa
