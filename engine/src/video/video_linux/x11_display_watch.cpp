#include <poll.h>
#include <xcb/randr.h>

#include <utility>

#include "base/base_linux/message_loop.h"
#include "base/log.h"
#include "video/video_linux/video_linux.h"
#include "video/video_linux/x11_connection.h"

namespace orventa {
namespace {

class DisplayWatch {
 public:
  DisplayWatch(ILinuxMessageLoop& loop, std::unique_ptr<X11Connection> connection)
      : loop_(loop), connection_(std::move(connection)) {
    xcb_connection_t* const xcb = connection_->xcb();
    // A list of displays that a user edits comes as a configuration of the root.
    const uint32_t mask = XCB_EVENT_MASK_STRUCTURE_NOTIFY;
    xcb_change_window_attributes(xcb, connection_->root(), XCB_CW_EVENT_MASK, &mask);
    if (connection_->extensions().monitors) {
      xcb_randr_select_input(xcb, connection_->root(),
                             XCB_RANDR_NOTIFY_MASK_SCREEN_CHANGE |
                                 XCB_RANDR_NOTIFY_MASK_CRTC_CHANGE |
                                 XCB_RANDR_NOTIFY_MASK_OUTPUT_CHANGE);
    }
    xcb_flush(xcb);
    loop_.AddWatch(xcb_get_file_descriptor(xcb), POLLIN, [this](short) { Look(); });
  }

 private:
  // One change of a display comes as several events, all of them at once.
  void Look() {
    bool changed = false;
    while (const XEvent event = connection_->NextEvent()) {
      const int type = EventType(*event);
      const int randr = connection_->extensions().randr_event;
      changed |=
          type == XCB_CONFIGURE_NOTIFY ||
          (connection_->extensions().monitors &&
           (type == randr + XCB_RANDR_SCREEN_CHANGE_NOTIFY || type == randr + XCB_RANDR_NOTIFY));
    }
    if (connection_->IsBroken()) {
      LogInfo("displays: the X server is gone, so changes are not heard of");
      loop_.RemoveWatch(xcb_get_file_descriptor(connection_->xcb()));
    } else if (changed) {
      loop_.InjectSystemEvent(SystemEvent::DisplaysChanged);
    }
  }

  ILinuxMessageLoop& loop_;
  const std::unique_ptr<X11Connection> connection_;
};

}  // namespace

std::shared_ptr<void> WatchLinuxDisplays(IClock& clock, ILinuxMessageLoop& loop) {
  std::unique_ptr<X11Connection> connection;
  if (const Status status = X11Connection::Open(clock, connection); !status.ok()) {
    LogInfo("displays: %s, so changes are not heard of", status.message().c_str());
    return nullptr;
  }
  return std::make_shared<DisplayWatch>(loop, std::move(connection));
}

}  // namespace orventa
