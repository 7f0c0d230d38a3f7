#include "video/video_linux/x11_sources.h"

#include <xcb/composite.h>
#include <xcb/randr.h>

#include <algorithm>
#include <vector>

#include "video/video_linux/x11_displays.h"

namespace orventa {
namespace {

Status ZeroSize() {
  return {StatusCode::DriverError, "capture target reports zero size"};
}

template <typename Event>
const Event& As(const xcb_generic_event_t& event) {
  return reinterpret_cast<const Event&>(event);
}

void SelectEvents(X11Connection& connection, xcb_window_t window, uint32_t mask) {
  xcb_change_window_attributes(connection.xcb(), window, XCB_CW_EVENT_MASK, &mask);
}

class DisplaySource final : public IX11Source {
 public:
  DisplaySource(X11Connection& connection, const CaptureTarget& target)
      : connection_(connection), target_(target) {}

  Status Open() {
    Status status = connection_.CheckPixelFormat(connection_.screen().root_depth,
                                                 connection_.screen().root_visual);
    if (!status.ok()) return status;
    SelectEvents(connection_, connection_.root(), XCB_EVENT_MASK_STRUCTURE_NOTIFY);
    if (connection_.extensions().monitors) {
      xcb_randr_select_input(
          connection_.xcb(), connection_.root(),
          XCB_RANDR_NOTIFY_MASK_SCREEN_CHANGE | XCB_RANDR_NOTIFY_MASK_CRTC_CHANGE);
    }
    Settle();
    status = connection_.Health();
    if (!status.ok()) return status;
    if (gone_) return {StatusCode::DriverError, "the display to capture is not there"};
    return pixels_.width == 0 || pixels_.height == 0 ? ZeroSize() : Status::Ok();
  }

  void OnEvent(const xcb_generic_event_t& event) override {
    const int type = EventType(event);
    const int randr = connection_.extensions().randr_event;
    const bool screen_changed =
        connection_.extensions().monitors &&
        (type == randr + XCB_RANDR_SCREEN_CHANGE_NOTIFY || type == randr + XCB_RANDR_NOTIFY);
    // A list of displays that a user edits comes as a configuration of the root.
    if (screen_changed || type == XCB_CONFIGURE_NOTIFY) in_doubt_ = true;
  }

  bool Settle() override {
    if (!in_doubt_) return false;
    const std::vector<X11Display> displays = ReadDisplays(connection_);
    if (connection_.IsBroken()) return false;
    in_doubt_ = false;
    const X11Display* display = Choose(displays);
    gone_ = display == nullptr;
    const PixelSource before = pixels_;
    pixels_ = {};
    if (!gone_) {
      pixels_ = {connection_.root(), display->x, display->y, display->width, display->height};
    }
    return !(pixels_ == before);
  }

  const PixelSource& pixels() const override { return pixels_; }
  bool IsGone() const override { return gone_; }
  xcb_drawable_t drawn() const override { return connection_.root(); }

  bool IsShown(const xcb_rectangle_t& area) const override {
    return area.x < pixels_.x + pixels_.width && pixels_.x < area.x + area.width &&
           area.y < pixels_.y + pixels_.height && pixels_.y < area.y + area.height;
  }

  xcb_window_t frame_of_reference() const override { return connection_.root(); }
  int16_t left() const override { return pixels_.x; }
  int16_t top() const override { return pixels_.y; }

 private:
  const X11Display* Choose(const std::vector<X11Display>& displays) const {
    if (target_.kind == CaptureTarget::Kind::PrimaryMonitor) return MainDisplay(displays);
    const auto found = std::find_if(
        displays.begin(), displays.end(),
        [this](const X11Display& display) { return display.handle == target_.monitor; });
    return found != displays.end() ? &*found : nullptr;
  }

  X11Connection& connection_;
  const CaptureTarget target_;
  PixelSource pixels_;
  bool in_doubt_ = true;
  bool gone_ = false;
};

// The window is redirected into memory of its own, so that its pixels are whole
// when others cover it. That memory is another one after each change of size and
// each time that the window comes back, so it is named anew then.
class WindowSource final : public IX11Source {
 public:
  WindowSource(X11Connection& connection, xcb_window_t window)
      : connection_(connection), window_(window) {}

  Status Open() {
    if (window_ == 0) return {StatusCode::InvalidArgument, "null window handle"};
    if (!connection_.extensions().composite) {
      return {StatusCode::Unsupported, "the X server has no Composite extension"};
    }
    SelectEvents(connection_, window_,
                 XCB_EVENT_MASK_STRUCTURE_NOTIFY | XCB_EVENT_MASK_VISIBILITY_CHANGE);
    const auto attributes_request = xcb_get_window_attributes(connection_.xcb(), window_);
    const auto geometry_request = xcb_get_geometry(connection_.xcb(), window_);
    const auto attributes =
        connection_.Await<xcb_get_window_attributes_reply_t>(attributes_request);
    const auto geometry = connection_.Await<xcb_get_geometry_reply_t>(geometry_request);
    Status status = connection_.Health();
    if (!status.ok()) return status;
    if (attributes == nullptr || geometry == nullptr) {
      return {StatusCode::DriverError, "the window to capture is not there"};
    }
    if (attributes->_class == XCB_WINDOW_CLASS_INPUT_ONLY) {
      return {StatusCode::Unsupported, "the window has no picture of its own"};
    }
    if (geometry->width == 0 || geometry->height == 0) return ZeroSize();
    status = connection_.CheckPixelFormat(geometry->depth, attributes->visual);
    if (!status.ok()) return status;

    border_ = geometry->border_width;
    pixels_.width = geometry->width;
    pixels_.height = geometry->height;
    xcb_composite_redirect_window(connection_.xcb(), window_, XCB_COMPOSITE_REDIRECT_AUTOMATIC);
    Settle();
    return connection_.Health();
  }

  ~WindowSource() override {
    if (pixels_.drawable != 0) xcb_free_pixmap(connection_.xcb(), pixels_.drawable);
  }

  void OnEvent(const xcb_generic_event_t& event) override {
    switch (EventType(event)) {
      case XCB_DESTROY_NOTIFY:
        if (As<xcb_destroy_notify_event_t>(event).window == window_) gone_ = true;
        break;
      case XCB_CONFIGURE_NOTIFY: {
        const auto& configured = As<xcb_configure_notify_event_t>(event);
        if (configured.window != window_) break;
        // Moving a window leaves its memory alone.
        if (configured.width != pixels_.width || configured.height != pixels_.height ||
            configured.border_width != border_) {
          in_doubt_ = true;
        }
        border_ = configured.border_width;
        break;
      }
      case XCB_VISIBILITY_NOTIFY:  // also tells that a frame around the window is back
      case XCB_MAP_NOTIFY:
      case XCB_UNMAP_NOTIFY:
      case XCB_REPARENT_NOTIFY: in_doubt_ = true; break;
      default: break;
    }
  }

  bool Settle() override {
    if (!in_doubt_ || gone_) return false;
    xcb_connection_t* const xcb = connection_.xcb();
    if (pixels_.drawable != 0) xcb_free_pixmap(xcb, pixels_.drawable);
    pixels_.drawable = 0;

    const xcb_pixmap_t pixmap = xcb_generate_id(xcb);
    xcb_composite_name_window_pixmap(xcb, window_, pixmap);
    const auto geometry =
        connection_.Await<xcb_get_geometry_reply_t>(xcb_get_geometry(xcb, pixmap));
    if (connection_.IsBroken()) return false;
    in_doubt_ = false;
    // Refused: the window is not on the screen. Its coming back is an event.
    if (geometry == nullptr) return false;
    if (geometry->width <= 2 * border_ || geometry->height <= 2 * border_) {
      xcb_free_pixmap(xcb, pixmap);
      return false;
    }
    pixels_.drawable = pixmap;
    pixels_.x = static_cast<int16_t>(border_);
    pixels_.y = static_cast<int16_t>(border_);
    pixels_.width = static_cast<uint16_t>(geometry->width - 2 * border_);
    pixels_.height = static_cast<uint16_t>(geometry->height - 2 * border_);
    return true;
  }

  const PixelSource& pixels() const override { return pixels_; }
  bool IsGone() const override { return gone_; }
  xcb_drawable_t drawn() const override { return window_; }
  bool IsShown(const xcb_rectangle_t&) const override { return true; }
  xcb_window_t frame_of_reference() const override { return window_; }
  int16_t left() const override { return 0; }
  int16_t top() const override { return 0; }

 private:
  X11Connection& connection_;
  const xcb_window_t window_;
  PixelSource pixels_;
  uint16_t border_ = 0;
  bool in_doubt_ = true;
  bool gone_ = false;
};

template <typename Source>
Status OpenSource(std::unique_ptr<Source> source, std::unique_ptr<IX11Source>& out) {
  Status status = source->Open();
  if (status.ok()) out = std::move(source);
  return status;
}

}  // namespace

Status MakeX11Source(X11Connection& connection, const CaptureTarget& target,
                     std::unique_ptr<IX11Source>& out) {
  if (target.kind == CaptureTarget::Kind::Window) {
    return OpenSource(
        std::make_unique<WindowSource>(connection, static_cast<xcb_window_t>(target.window)), out);
  }
  return OpenSource(std::make_unique<DisplaySource>(connection, target), out);
}

}  // namespace orventa
