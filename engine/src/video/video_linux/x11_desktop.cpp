#include "video/video_linux/x11_desktop.h"

#include <unistd.h>

#include <algorithm>
#include <limits>
#include <utility>

#include "games/targets/desktop_geometry.h"
#include "video/video_linux/x11_displays.h"

namespace orventa {
namespace {

DesktopRect RectOf(const X11Display& display) {
  return {display.x, display.y, display.x + display.width, display.y + display.height};
}

// What two rectangles share, in pixels; where they share nothing, how far they are
// apart, as a negative number.
int64_t Closeness(const DesktopRect& a, const DesktopRect& b) {
  const int64_t width = int64_t{std::min(a.right, b.right)} - std::max(a.left, b.left);
  const int64_t height = int64_t{std::min(a.bottom, b.bottom)} - std::max(a.top, b.top);
  if (width > 0 && height > 0) return width * height;
  return std::min<int64_t>(width, 0) + std::min<int64_t>(height, 0) - 1;
}

const X11Display* DisplayUnder(const std::vector<X11Display>& displays, const DesktopRect& window) {
  const X11Display* nearest = nullptr;
  int64_t best = std::numeric_limits<int64_t>::min();
  for (const X11Display& display : displays) {
    const int64_t closeness = Closeness(RectOf(display), window);
    if (closeness <= best) continue;
    best = closeness;
    nearest = &display;
  }
  return nearest;
}

void FillDisplay(const X11Display& display, DisplayInfo& row) {
  row.monitor = display.handle;
  row.device_name = display.name;
  row.stable_id = display.stable_id;
  row.friendly_name = display.friendly_name;
  row.width = display.width;
  row.height = display.height;
  row.primary = display.primary;
}

void FillWindow(X11Window& window, const std::vector<X11Display>& displays, WindowInfo& row) {
  row.hwnd = window.window;
  row.title = std::move(window.title);
  row.client_width = window.client_width;
  row.client_height = window.client_height;
  row.pid = window.pid;
  row.window_class = std::move(window.window_class);
  row.maximized = window.maximized;
  row.resizable = window.resizable;
  const X11Display* const display = DisplayUnder(displays, window.frame);
  row.fills_monitor = display != nullptr && FillsMonitor(window.frame, RectOf(*display));
  row.covers_monitor = display != nullptr && CoversMonitor(window.frame, RectOf(*display));
  row.on_primary = display != nullptr && display->primary;
}

}  // namespace

Status X11Desktop::Open(IClock& clock, std::unique_ptr<X11Desktop>& out) {
  std::unique_ptr<X11Connection> connection;
  Status status = X11Connection::Open(clock, connection);
  if (!status.ok()) return status;
  out.reset(new X11Desktop(std::move(connection)));
  status = out->Health();
  if (!status.ok()) out.reset();
  return status;
}

X11Desktop::X11Desktop(std::unique_ptr<X11Connection> connection)
    : connection_(std::move(connection)), atoms_(*connection_) {
  const uint32_t mask = XCB_EVENT_MASK_PROPERTY_CHANGE;
  xcb_change_window_attributes(connection_->xcb(), connection_->root(), XCB_CW_EVENT_MASK, &mask);
}

Status X11Desktop::Health() {
  ReadEvents();
  return connection_->Health();
}

Status X11Desktop::TakeSnapshot(IKnownGames& known_games, DesktopSnapshot& out) {
  const std::vector<X11Display> displays = ReadDisplays(*connection_);
  out.displays.resize(displays.size());
  for (size_t i = 0; i < displays.size(); ++i) FillDisplay(displays[i], out.displays[i]);

  std::vector<X11Window> windows =
      ReadWindows(*connection_, atoms_, ClientWindows(*connection_, atoms_));
  LookInFront();
  const auto own_pid = static_cast<uint32_t>(getpid());
  std::erase_if(windows, [&](const X11Window& window) { return window.pid == own_pid; });
  out.windows.resize(windows.size());
  for (size_t i = 0; i < windows.size(); ++i) {
    WindowInfo& row = out.windows[i];
    FillWindow(windows[i], displays, row);
    row.exe_path = programs_.ProgramOf(row.pid);
    row.known_game = !row.exe_path.empty() && known_games.IsKnownGame(row.exe_path);
    row.foreground = row.hwnd == active_.window;
  }
  return Health();
}

bool X11Desktop::IsHidden(xcb_window_t window) {
  Watch(window);
  return hidden_;
}

void X11Desktop::LookInFront() {
  ReadEvents();
  if (!active_in_doubt_ && active_.announced) return;
  const ActiveWindow now = FindActiveWindow(*connection_, atoms_);
  if (active_in_doubt_ || now.window != active_.window) {
    in_front_ = WithOwners(*connection_, now.window);
  }
  active_ = now;
  active_in_doubt_ = false;
}

bool X11Desktop::IsForeground(xcb_window_t window) {
  LookInFront();
  return std::find(in_front_.begin(), in_front_.end(), window) != in_front_.end();
}

const std::string& X11Desktop::Title(xcb_window_t window) {
  Watch(window);
  return title_;
}

void X11Desktop::Watch(xcb_window_t window) {
  ReadEvents();
  if (window != watched_) {
    const uint32_t none = 0;
    const uint32_t mask = XCB_EVENT_MASK_STRUCTURE_NOTIFY | XCB_EVENT_MASK_PROPERTY_CHANGE |
                          XCB_EVENT_MASK_VISIBILITY_CHANGE;
    xcb_connection_t* const xcb = connection_->xcb();
    if (watched_ != 0) xcb_change_window_attributes(xcb, watched_, XCB_CW_EVENT_MASK, &none);
    xcb_change_window_attributes(xcb, window, XCB_CW_EVENT_MASK, &mask);
    watched_ = window;
    window_in_doubt_ = true;
  }
  if (!window_in_doubt_) return;
  window_in_doubt_ = false;
  hidden_ = !IsWindowShown(*connection_, atoms_, window);
  title_ = WindowTitle(*connection_, atoms_, window);
}

void X11Desktop::ReadEvents() {
  while (const XEvent event = connection_->NextEvent()) {
    const int type = EventType(*event);
    if (type == XCB_PROPERTY_NOTIFY) {
      const auto& changed = reinterpret_cast<const xcb_property_notify_event_t&>(*event);
      if (changed.window == watched_) window_in_doubt_ = true;
      if (changed.atom == atoms_.net_active_window) active_in_doubt_ = true;
    } else if (type == XCB_MAP_NOTIFY || type == XCB_UNMAP_NOTIFY || type == XCB_DESTROY_NOTIFY ||
               type == XCB_REPARENT_NOTIFY || type == XCB_VISIBILITY_NOTIFY) {
      window_in_doubt_ = true;
    }
  }
}

X11DesktopView::X11DesktopView(IClock& clock, IKnownGames& known_games)
    : clock_(clock), known_games_(known_games) {}

Status X11DesktopView::Take(std::unique_ptr<X11Desktop>& desktop) {
  {
    const MutexLock lock(mutex_);
    if (!idle_.empty()) {
      desktop = std::move(idle_.back());
      idle_.pop_back();
    }
  }
  if (desktop != nullptr && desktop->Health().ok()) return Status::Ok();
  desktop.reset();
  return X11Desktop::Open(clock_, desktop);
}

void X11DesktopView::GiveBack(std::unique_ptr<X11Desktop> desktop) {
  if (!desktop->Health().ok()) return;
  const MutexLock lock(mutex_);
  idle_.push_back(std::move(desktop));
}

Status X11DesktopView::TakeSnapshot(DesktopSnapshot& out) {
  std::unique_ptr<X11Desktop> desktop;
  Status status = Take(desktop);
  if (!status.ok()) return status;
  status = desktop->TakeSnapshot(known_games_, out);
  GiveBack(std::move(desktop));
  return status;
}

// A window whose server does not answer cannot be seen.
bool X11DesktopView::IsHiddenOrMinimised(uint64_t window) {
  std::unique_ptr<X11Desktop> desktop;
  if (!Take(desktop).ok()) return true;
  const bool hidden = desktop->IsHidden(static_cast<xcb_window_t>(window));
  GiveBack(std::move(desktop));
  return hidden;
}

bool X11DesktopView::IsForeground(uint64_t window) {
  std::unique_ptr<X11Desktop> desktop;
  if (!Take(desktop).ok()) return false;
  const bool foreground = desktop->IsForeground(static_cast<xcb_window_t>(window));
  GiveBack(std::move(desktop));
  return foreground;
}

void X11DesktopView::ReadTitle(uint64_t window, std::string& title) {
  std::unique_ptr<X11Desktop> desktop;
  if (!Take(desktop).ok()) return;
  const std::string& found = desktop->Title(static_cast<xcb_window_t>(window));
  if (!found.empty()) title = found;
  GiveBack(std::move(desktop));
}

std::unique_ptr<IDesktopView> MakeLinuxDesktopView(IClock& clock, IKnownGames& known_games) {
  return std::make_unique<X11DesktopView>(clock, known_games);
}

}  // namespace orventa
