#include "video/video_linux/x11_displays.h"

#include <xcb/randr.h>

#include <algorithm>

namespace orventa {
namespace {

std::vector<X11Display> ReadMonitors(X11Connection& connection) {
  std::vector<X11Display> displays;
  const auto reply = connection.Await<xcb_randr_get_monitors_reply_t>(
      xcb_randr_get_monitors(connection.xcb(), connection.root(), 1));
  if (reply == nullptr) return displays;

  for (auto monitors = xcb_randr_get_monitors_monitors_iterator(reply.get()); monitors.rem > 0;
       xcb_randr_monitor_info_next(&monitors)) {
    const xcb_randr_monitor_info_t& monitor = *monitors.data;
    if (monitor.width == 0 || monitor.height == 0) continue;
    X11Display display;
    display.handle = monitor.name;
    display.x = monitor.x;
    display.y = monitor.y;
    display.width = monitor.width;
    display.height = monitor.height;
    display.primary = monitor.primary != 0;
    displays.push_back(display);
  }
  for (X11Display& display : displays) {
    const auto name = connection.Await<xcb_get_atom_name_reply_t>(
        xcb_get_atom_name(connection.xcb(), static_cast<xcb_atom_t>(display.handle)));
    if (name == nullptr) continue;
    display.name.assign(xcb_get_atom_name_name(name.get()),
                        static_cast<size_t>(xcb_get_atom_name_name_length(name.get())));
  }
  return displays;
}

}  // namespace

std::vector<X11Display> ReadDisplays(X11Connection& connection) {
  std::vector<X11Display> displays;
  if (connection.extensions().monitors) displays = ReadMonitors(connection);
  if (!displays.empty()) {
    // A desktop need not name one; the first is what people then take for it.
    if (MainDisplay(displays) == nullptr) displays.front().primary = true;
    return displays;
  }
  if (connection.IsBroken()) return displays;

  const auto root = connection.Await<xcb_get_geometry_reply_t>(
      xcb_get_geometry(connection.xcb(), connection.root()));
  if (root == nullptr) return displays;
  X11Display display;
  display.width = root->width;
  display.height = root->height;
  display.primary = true;
  displays.push_back(display);
  return displays;
}

const X11Display* MainDisplay(const std::vector<X11Display>& displays) {
  const auto primary = std::find_if(displays.begin(), displays.end(),
                                    [](const X11Display& display) { return display.primary; });
  return primary != displays.end() ? &*primary : nullptr;
}

}  // namespace orventa
