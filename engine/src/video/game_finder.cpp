#include "video/game_finder.h"

#include <algorithm>
#include <utility>

#include "base/files.h"
#include "base/text.h"

namespace orventa {
namespace {

const WindowInfo* WindowOf(const DesktopSnapshot& desktop, uint64_t handle) {
  const auto row = std::find_if(desktop.windows.begin(), desktop.windows.end(),
                                [&](const WindowInfo& window) { return window.hwnd == handle; });
  return row == desktop.windows.end() ? nullptr : &*row;
}

std::string ProgramName(const std::string& exe_path) {
  std::string_view name = FileName(exe_path);
  constexpr std::string_view kExtension = ".exe";
  if (name.size() > kExtension.size() &&
      EqualsIgnoreCase(name.substr(name.size() - kExtension.size()), kExtension)) {
    name.remove_suffix(kExtension.size());
  }
  return std::string(name);
}

}  // namespace

std::string TargetName(const CaptureTargetEntry& entry, const WindowInfo* window) {
  if (window == nullptr) return {};
  if (entry.kind == TargetKind::Window || entry.kind == TargetKind::Exact) return entry.text;
  const std::string program = ProgramName(window->exe_path);
  return program.empty() ? window->title : program;
}

GameFinder::GameFinder(IDesktopRows& rows)
    : rows_(rows), wishes_(std::make_shared<const Wishes>()) {}

bool GameFinder::SetGameList(const GameList& list, const FindPolicy& policy) {
  auto next = std::make_shared<const Wishes>(Wishes{list, policy});
  const MutexLock lock(mutex_);
  if (*wishes_ == *next) return false;
  wishes_ = std::move(next);
  return true;
}

std::shared_ptr<const GameFinder::Wishes> GameFinder::wishes() const {
  const MutexLock lock(mutex_);
  return wishes_;
}

Status GameFinder::Find(uint64_t current_window, FoundTarget& out) {
  std::shared_ptr<const Wishes> wanted;
  std::unique_ptr<DesktopSnapshot> desktop;
  {
    const MutexLock lock(mutex_);
    wanted = wishes_;
    desktop = std::move(idle_);
  }
  if (desktop == nullptr) desktop = std::make_unique<DesktopSnapshot>();
  Status status = rows_.TakeSnapshot(*desktop);
  CaptureSource source;
  if (status.ok()) {
    status = ResolveCaptureSource(wanted->list, wanted->policy, *desktop, current_window, source);
  }
  if (status.ok()) {
    const CaptureTargetEntry& entry = wanted->list.entries[source.entry_index];
    const WindowInfo* const window =
        source.kind == CaptureSource::Kind::Window ? WindowOf(*desktop, source.handle) : nullptr;
    out = {};
    if (window != nullptr) {
      out.target = {.kind = CaptureTarget::Kind::Window, .window = source.handle};
      out.path = window->exe_path;
    } else {
      out.target.monitor = source.handle;
    }
    out.name = TargetName(entry, window);
    out.description = std::move(source.description);
    out.list_index = source.entry_index;
    out.any_game = entry.kind == TargetKind::AnyGame;
    out.record_session = entry.record_session;
    out.settings = entry.settings;
  }
  const MutexLock lock(mutex_);
  idle_ = std::move(desktop);
  return status;
}

std::string GameFinder::Explain(uint64_t current_window) {
  const std::shared_ptr<const Wishes> wanted = wishes();
  DesktopSnapshot desktop;
  if (const Status status = rows_.TakeSnapshot(desktop); !status.ok()) {
    return "the desktop cannot be looked at: " + status.ToString() + "\n";
  }
  return ExplainCaptureSource(wanted->list, wanted->policy, desktop, current_window);
}

}  // namespace orventa
