#include "video/video_win/win_displays.h"

#include <windows.h>

#include <algorithm>
#include <optional>
#include <utility>

#include "base/base_win/win32.h"
#include "base/text.h"
#include "video/video_win/display_paths.h"

namespace orventa {
namespace {

// Reading names goes through the registry and can take longer than a frame, so
// they are kept while the list stands. A monitor exchanged for one just like it
// changes nothing in the list: that is noticed this much later.
constexpr uint64_t kNamesStandNs = 10 * kNsPerSecond;

BOOL CALLBACK TakeMonitor(HMONITOR monitor, HDC, LPRECT, LPARAM list) noexcept {
  MONITORINFOEXW info{};
  info.cbSize = sizeof(info);
  if (GetMonitorInfoW(monitor, &info) == 0) return TRUE;  // gone since
  DisplayInfo display;
  display.monitor = reinterpret_cast<uintptr_t>(monitor);
  display.device_name = Narrow(info.szDevice);
  display.width = static_cast<uint32_t>(info.rcMonitor.right - info.rcMonitor.left);
  display.height = static_cast<uint32_t>(info.rcMonitor.bottom - info.rcMonitor.top);
  display.primary = (info.dwFlags & MONITORINFOF_PRIMARY) != 0;
  reinterpret_cast<std::vector<DisplayInfo>*>(list)->push_back(std::move(display));
  return TRUE;
}

bool SameButForNames(const std::vector<DisplayInfo>& found, const std::vector<DisplayInfo>& named) {
  const auto same = [](const DisplayInfo& a, const DisplayInfo& b) {
    return a.monitor == b.monitor && a.device_name == b.device_name && a.width == b.width &&
           a.height == b.height && a.primary == b.primary;
  };
  return std::equal(found.begin(), found.end(), named.begin(), named.end(), same);
}

// The monitor that shows an adapter's output. Ones that were plugged in before
// are listed beside it.
std::optional<DISPLAY_DEVICEW> MonitorOn(const std::wstring& device_name) {
  DISPLAY_DEVICEW monitor{};
  monitor.cb = sizeof(monitor);
  for (DWORD i = 0;
       EnumDisplayDevicesW(device_name.c_str(), i, &monitor, EDD_GET_DEVICE_INTERFACE_NAME) != 0;
       ++i) {
    if ((monitor.StateFlags & DISPLAY_DEVICE_ACTIVE) != 0) return monitor;
    monitor = {};
    monitor.cb = sizeof(monitor);
  }
  return std::nullopt;
}

// The name that the monitor gives itself; empty for most built-in panels, and in
// a session without a display configuration.
std::string NameByItself(const std::string& interface_path) {
  for (const DISPLAYCONFIG_PATH_INFO& path : ActiveDisplayPaths()) {
    DISPLAYCONFIG_TARGET_DEVICE_NAME target{};
    target.header.type = DISPLAYCONFIG_DEVICE_INFO_GET_TARGET_NAME;
    target.header.size = sizeof(target);
    target.header.adapterId = path.targetInfo.adapterId;
    target.header.id = path.targetInfo.id;
    if (DisplayConfigGetDeviceInfo(&target.header) != ERROR_SUCCESS) continue;
    if (EqualsIgnoreCase(Narrow(target.monitorDevicePath), interface_path)) {
      return Narrow(target.monitorFriendlyDeviceName);
    }
  }
  return {};
}

void FillNames(DisplayInfo& display, const std::vector<DisplayInfo>* before) {
  const std::optional<DISPLAY_DEVICEW> monitor = MonitorOn(Wide(display.device_name));
  if (!monitor) return;
  const std::string interface_path = Narrow(monitor->DeviceID);
  display.stable_id = StableMonitorId(interface_path);
  if (before != nullptr && !display.stable_id.empty()) {
    for (const DisplayInfo& known : *before) {
      if (known.stable_id != display.stable_id) continue;
      display.friendly_name = known.friendly_name;
      return;
    }
  }
  display.friendly_name = NameByItself(interface_path);
  if (display.friendly_name.empty()) display.friendly_name = Narrow(monitor->DeviceString);
}

}  // namespace

std::string StableMonitorId(std::string_view interface_path) {
  constexpr std::string_view kPrefix = "\\\\?\\";
  if (!interface_path.starts_with(kPrefix)) return {};
  interface_path.remove_prefix(kPrefix.size());
  std::string id(interface_path.substr(0, interface_path.rfind("#{")));
  std::replace(id.begin(), id.end(), '#', '\\');
  return id;
}

Status WinDisplays::Read(std::vector<DisplayInfo>& out) {
  std::vector<DisplayInfo> found;
  if (EnumDisplayMonitors(nullptr, nullptr, TakeMonitor, reinterpret_cast<LPARAM>(&found)) == 0) {
    return {StatusCode::DriverError, Format("cannot list the displays (%lu)", GetLastError())};
  }
  std::shared_ptr<const Named> named;
  {
    const MutexLock lock(mutex_);
    named = last_;
  }
  if (named == nullptr || clock_.SteadyNs() >= named->stale_at_ns ||
      !SameButForNames(found, named->displays)) {
    named = NameAll(std::move(found), named.get());
    const MutexLock lock(mutex_);
    last_ = named;
  }
  out = named->displays;
  return Status::Ok();
}

std::shared_ptr<const WinDisplays::Named> WinDisplays::NameAll(std::vector<DisplayInfo> displays,
                                                               const Named* before) {
  for (DisplayInfo& display : displays) {
    FillNames(display, before == nullptr ? nullptr : &before->displays);
  }
  return std::make_shared<const Named>(
      Named{std::move(displays), clock_.SteadyNs() + kNamesStandNs});
}

}  // namespace orventa
