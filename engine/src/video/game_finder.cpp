#include "video/game_finder.h"

#include <algorithm>
#include <utility>

#include "base/files.h"
#include "base/text.h"

namespace orventa {
namespace {

template <typename Row, typename Value>
const Row* FindRow(const std::vector<Row>& rows, Value Row::*member, Value wanted) {
  const auto row = std::find_if(rows.begin(), rows.end(),
                                [&](const Row& each) { return each.*member == wanted; });
  return row == rows.end() ? nullptr : &*row;
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

void FillTarget(const CaptureTargetEntry& entry, const DesktopSnapshot& desktop,
                const CaptureSource& source, FoundTarget& out) {
  if (source.kind == CaptureSource::Kind::Window) {
    out.target = {.kind = CaptureTarget::Kind::Window, .window = source.handle};
    const WindowInfo* const window = FindRow(desktop.windows, &WindowInfo::hwnd, source.handle);
    out.name = TargetName(entry, window);
    if (window != nullptr) {
      out.path = window->exe_path;
      out.pid = window->pid;
    }
    return;
  }
  // The main display has no handle: it may be another one by the next question.
  const bool main = source.kind == CaptureSource::Kind::MainDisplay;
  out.target = {.kind = main ? CaptureTarget::Kind::PrimaryMonitor : CaptureTarget::Kind::Monitor,
                .monitor = source.handle};
  const DisplayInfo* const display =
      main ? FindRow(desktop.displays, &DisplayInfo::primary, true)
           : FindRow(desktop.displays, &DisplayInfo::monitor, source.handle);
  if (display != nullptr) {
    out.display = display->stable_id.empty() ? display->device_name : display->stable_id;
  }
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

WishesChange GameFinder::SetGameList(const GameList& list, const FindPolicy& policy) {
  auto next = std::make_shared<const Wishes>(Wishes{list, policy});
  const MutexLock lock(mutex_);
  const auto before = std::exchange(wishes_, std::move(next));
  if (before->list != list) return WishesChange::List;
  return before->policy != policy ? WishesChange::Policy : WishesChange::None;
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
    out = {};
    FillTarget(entry, *desktop, source, out);
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
