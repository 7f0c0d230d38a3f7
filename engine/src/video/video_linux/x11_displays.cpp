#include "video/video_linux/x11_displays.h"

#include <xcb/randr.h>

#include <algorithm>
#include <optional>
#include <string_view>
#include <utility>

#include "video/video_linux/edid.h"

namespace orventa {
namespace {

constexpr uint32_t kEdidWords = 32;

// A monitor and the answers about it that are under way.
struct AskedMonitor {
  X11Display display;
  xcb_get_atom_name_cookie_t name;
  std::optional<xcb_randr_get_output_property_cookie_t> edid;
};

void TakeName(X11Connection& connection, AskedMonitor& asked) {
  const auto name = connection.Await<xcb_get_atom_name_reply_t>(asked.name);
  if (name == nullptr) return;
  asked.display.name.assign(xcb_get_atom_name_name(name.get()),
                            static_cast<size_t>(xcb_get_atom_name_name_length(name.get())));
}

void TakeIdentity(X11Connection& connection, AskedMonitor& asked) {
  X11Display& display = asked.display;
  display.stable_id = display.name;
  if (!asked.edid) return;
  const auto edid = connection.Await<xcb_randr_get_output_property_reply_t>(*asked.edid);
  if (edid == nullptr || edid->format != 8) return;
  const auto identity =
      ReadEdid({xcb_randr_get_output_property_data(edid.get()),
                static_cast<size_t>(xcb_randr_get_output_property_data_length(edid.get()))});
  if (!identity) return;
  display.friendly_name = identity->name;
  display.stable_id =
      identity->model + (identity->serial.empty() ? "@" + display.name : "-" + identity->serial);
}

std::vector<X11Display> ReadMonitors(X11Connection& connection) {
  xcb_connection_t* const xcb = connection.xcb();
  constexpr std::string_view kEdid = "EDID";
  const auto atom_asked = xcb_intern_atom(xcb, 0, kEdid.size(), kEdid.data());
  const auto monitors_asked = xcb_randr_get_monitors(xcb, connection.root(), 1);
  const auto atom = connection.Await<xcb_intern_atom_reply_t>(atom_asked);
  const auto reply = connection.Await<xcb_randr_get_monitors_reply_t>(monitors_asked);
  if (atom == nullptr || reply == nullptr) return {};

  std::vector<AskedMonitor> asked;
  for (auto monitors = xcb_randr_get_monitors_monitors_iterator(reply.get()); monitors.rem > 0;
       xcb_randr_monitor_info_next(&monitors)) {
    const xcb_randr_monitor_info_t& monitor = *monitors.data;
    if (monitor.width == 0 || monitor.height == 0) continue;
    AskedMonitor& row = asked.emplace_back();
    row.display.handle = monitor.name;
    row.display.x = monitor.x;
    row.display.y = monitor.y;
    row.display.width = monitor.width;
    row.display.height = monitor.height;
    row.display.primary = monitor.primary != 0;
    row.name = xcb_get_atom_name(xcb, monitor.name);
    if (xcb_randr_monitor_info_outputs_length(&monitor) > 0) {
      row.edid =
          xcb_randr_get_output_property(xcb, xcb_randr_monitor_info_outputs(&monitor)[0],
                                        atom->atom, XCB_GET_PROPERTY_TYPE_ANY, 0, kEdidWords, 0, 0);
    }
  }
  std::vector<X11Display> displays;
  for (AskedMonitor& row : asked) {
    TakeName(connection, row);
    TakeIdentity(connection, row);
    displays.push_back(std::move(row.display));
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
