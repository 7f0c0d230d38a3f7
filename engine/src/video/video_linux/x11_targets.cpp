#include "video/video_linux/x11_targets.h"

#include <algorithm>
#include <utility>

#include "base/text.h"
#include "video/video_linux/x11_displays.h"

namespace orventa {
namespace {

Status NothingOpen() {
  return {StatusCode::NoTarget, "nothing on the capture target list is currently open"};
}

std::string Describe(const X11Display& display) {
  return Format("%s: %ux%u%s", display.name.empty() ? "Primary display" : display.name.c_str(),
                display.width, display.height, display.primary ? " (Primary Monitor)" : "");
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

Status X11Desktop::FindWindow(const std::string& text, FoundTarget& out) {
  const std::vector<xcb_window_t> windows = ClientWindows(*connection_, atoms_);
  const std::vector<std::string> titles = WindowTitles(*connection_, atoms_, windows);
  for (size_t i = 0; i < windows.size(); ++i) {
    const xcb_window_t window = windows[i];
    const std::string& title = titles[i];
    if (!ContainsIgnoreCase(title, text)) continue;
    if (!IsWindowShown(*connection_, atoms_, window)) continue;
    out = {};
    out.target.kind = CaptureTarget::Kind::Window;
    out.target.window = window;
    out.name = title;
    out.description = title;
    out.path = WindowProgram(*connection_, atoms_, window);
    return Health();
  }
  const Status health = Health();
  return health.ok() ? NothingOpen() : health;
}

Status X11Desktop::FindMainDisplay(FoundTarget& out) {
  const std::vector<X11Display> displays = ReadDisplays(*connection_);
  const Status health = Health();
  if (!health.ok()) return health;
  const X11Display* display = MainDisplay(displays);
  if (display == nullptr) return NothingOpen();
  out = {};
  out.target.monitor = display->handle;
  out.name = display->name;
  out.description = Describe(*display);
  return Status::Ok();
}

bool X11Desktop::IsHidden(xcb_window_t window) {
  Watch(window);
  return hidden_;
}

bool X11Desktop::IsForeground(xcb_window_t window) {
  Watch(window);
  if (active_in_doubt_ || !active_.announced) {
    active_in_doubt_ = false;
    active_ = FindActiveWindow(*connection_, atoms_);
  }
  return active_.window != 0 &&
         std::find(owners_.begin(), owners_.end(), active_.window) != owners_.end();
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
  title_ = WindowTitles(*connection_, atoms_, {window}).front();
  owners_ = WithOwners(*connection_, window);
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

X11Targets::X11Targets(IClock& clock, std::string window_text)
    : clock_(clock), window_text_(std::move(window_text)) {}

Status X11Targets::Take(std::unique_ptr<X11Desktop>& desktop) {
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

void X11Targets::GiveBack(std::unique_ptr<X11Desktop> desktop) {
  if (!desktop->Health().ok()) return;
  const MutexLock lock(mutex_);
  idle_.push_back(std::move(desktop));
}

Status X11Targets::Find(uint64_t, FoundTarget& out) {
  std::unique_ptr<X11Desktop> desktop;
  Status status = Take(desktop);
  if (!status.ok()) return status;
  status =
      window_text_.empty() ? desktop->FindMainDisplay(out) : desktop->FindWindow(window_text_, out);
  GiveBack(std::move(desktop));
  return status;
}

// A window whose server does not answer cannot be seen.
bool X11Targets::IsHiddenOrMinimised(uint64_t window) {
  std::unique_ptr<X11Desktop> desktop;
  if (!Take(desktop).ok()) return true;
  const bool hidden = desktop->IsHidden(static_cast<xcb_window_t>(window));
  GiveBack(std::move(desktop));
  return hidden;
}

bool X11Targets::IsForeground(uint64_t window) {
  std::unique_ptr<X11Desktop> desktop;
  if (!Take(desktop).ok()) return false;
  const bool foreground = desktop->IsForeground(static_cast<xcb_window_t>(window));
  GiveBack(std::move(desktop));
  return foreground;
}

void X11Targets::ReadTitle(uint64_t window, std::string& title) {
  std::unique_ptr<X11Desktop> desktop;
  if (!Take(desktop).ok()) return;
  const std::string& found = desktop->Title(static_cast<xcb_window_t>(window));
  if (!found.empty()) title = found;
  GiveBack(std::move(desktop));
}

std::unique_ptr<IDesktopTargets> MakeLinuxTargets(IClock& clock, std::string window_text) {
  return std::make_unique<X11Targets>(clock, std::move(window_text));
}

}  // namespace orventa
