#include "video/video_linux/x11_cursor.h"

#include <algorithm>
#include <cstring>

namespace orventa {
namespace {

constexpr size_t kBytesPerPixel = 4;

uint8_t* PixelAt(const MemoryPicture& picture, int x, int y) {
  const PlaneView& plane = picture.plane(0);
  return plane.data + plane.stride * static_cast<size_t>(y) +
         kBytesPerPixel * static_cast<size_t>(x);
}

// One channel of a premultiplied colour over another.
uint8_t Over(uint32_t source, uint8_t below, uint32_t alpha) {
  return static_cast<uint8_t>(std::min(source + (below * (255 - alpha) + 127) / 255, 255U));
}

void BlendPixel(uint32_t colour, uint8_t* pixel) {
  const uint32_t alpha = colour >> 24;
  if (alpha == 0) return;
  pixel[0] = Over(colour & 0xFF, pixel[0], alpha);
  pixel[1] = Over((colour >> 8) & 0xFF, pixel[1], alpha);
  pixel[2] = Over((colour >> 16) & 0xFF, pixel[2], alpha);
}

}  // namespace

CursorPainter::Rect CursorPainter::Place(const MemoryPicture& picture, const CursorShape& shape,
                                         int x, int y) {
  const int left = x - shape.hot_x;
  const int top = y - shape.hot_y;
  const int from_x = std::max(left, 0);
  const int from_y = std::max(top, 0);
  const int to_x = std::min(left + int{shape.width}, static_cast<int>(picture.width()));
  const int to_y = std::min(top + int{shape.height}, static_cast<int>(picture.height()));
  if (!shape.visible || from_x >= to_x || from_y >= to_y) return {};
  return {from_x, from_y, to_x - from_x, to_y - from_y};
}

bool CursorPainter::Touches(const MemoryPicture& picture, const CursorShape& shape, int x, int y) {
  return Place(picture, shape, x, y).width > 0;
}

void CursorPainter::Draw(const MemoryPicture& picture, const CursorShape& shape, int x, int y) {
  drawn_ = Place(picture, shape, x, y);
  const int skipped_columns = drawn_.x - (x - shape.hot_x);
  const int skipped_rows = drawn_.y - (y - shape.hot_y);
  const auto width = static_cast<size_t>(drawn_.width);
  beneath_.resize(width * static_cast<size_t>(drawn_.height));
  for (int row = 0; row < drawn_.height; ++row) {
    uint8_t* const pixels = PixelAt(picture, drawn_.x, drawn_.y + row);
    std::memcpy(&beneath_[width * static_cast<size_t>(row)], pixels, width * kBytesPerPixel);
    const uint32_t* const colours =
        &shape.pixels[size_t{shape.width} * static_cast<size_t>(skipped_rows + row) +
                      static_cast<size_t>(skipped_columns)];
    for (size_t i = 0; i < width; ++i) BlendPixel(colours[i], pixels + i * kBytesPerPixel);
  }
}

void CursorPainter::Erase(const MemoryPicture& picture) {
  const auto width = static_cast<size_t>(drawn_.width);
  for (int row = 0; row < drawn_.height; ++row) {
    std::memcpy(PixelAt(picture, drawn_.x, drawn_.y + row),
                &beneath_[width * static_cast<size_t>(row)], width * kBytesPerPixel);
  }
  drawn_ = {};
}

X11Cursor::X11Cursor(X11Connection& connection, xcb_window_t window)
    : connection_(connection), window_(window) {
  xcb_xfixes_select_cursor_input(connection_.xcb(), connection_.root(),
                                 XCB_XFIXES_CURSOR_NOTIFY_MASK_DISPLAY_CURSOR);
}

void X11Cursor::OnEvent(const xcb_generic_event_t& event) {
  if (EventType(event) == connection_.extensions().fixes_event + XCB_XFIXES_CURSOR_NOTIFY) {
    shape_in_doubt_ = true;
  }
}

void X11Cursor::Ask() {
  if (place_sequence_ == 0) {
    place_sequence_ = xcb_query_pointer(connection_.xcb(), window_).sequence;
  }
  if (shape_in_doubt_ && shape_sequence_ == 0) {
    shape_in_doubt_ = false;
    shape_sequence_ = xcb_xfixes_get_cursor_image(connection_.xcb()).sequence;
  }
}

void X11Cursor::Collect(uint64_t until_ns) {
  using Answer = X11Connection::Answer;
  XReply<void> reply;
  if (place_sequence_ != 0) {
    const Answer answer = connection_.AwaitUntil(place_sequence_, until_ns, reply);
    if (answer == Answer::Waiting) return;
    place_sequence_ = 0;
    on_screen_ = answer == Answer::Came;
    if (on_screen_) {
      const auto& place = *static_cast<const xcb_query_pointer_reply_t*>(reply.get());
      on_screen_ = place.same_screen != 0;
      x_ = place.win_x;
      y_ = place.win_y;
    }
  }
  if (shape_sequence_ == 0) return;
  const Answer answer = connection_.AwaitUntil(shape_sequence_, until_ns, reply);
  if (answer == Answer::Waiting) return;
  shape_sequence_ = 0;
  if (answer == Answer::Came) {
    TakeShape(*static_cast<const xcb_xfixes_get_cursor_image_reply_t*>(reply.get()));
  }
}

void X11Cursor::TakeShape(const xcb_xfixes_get_cursor_image_reply_t& reply) {
  const uint32_t* const first = xcb_xfixes_get_cursor_image_cursor_image(&reply);
  const auto count = static_cast<size_t>(xcb_xfixes_get_cursor_image_cursor_image_length(&reply));
  if (count < size_t{reply.width} * reply.height) return;
  shape_.width = reply.width;
  shape_.height = reply.height;
  shape_.hot_x = static_cast<int16_t>(reply.xhot);
  shape_.hot_y = static_cast<int16_t>(reply.yhot);
  shape_.pixels.assign(first, first + count);
  shape_.visible = std::any_of(shape_.pixels.begin(), shape_.pixels.end(),
                               [](uint32_t pixel) { return (pixel >> 24) != 0; });
  ++shape_number_;
}

}  // namespace orventa
