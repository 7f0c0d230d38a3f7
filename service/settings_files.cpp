#include "service/settings_files.h"

#include "base/files.h"
#include "base/log.h"
#include "service/run_options.h"
#include "service/service_state.h"
#include "settings/schema.h"
#include "settings/text_file.h"

namespace orventa {
namespace {

constexpr uint64_t kReadAgainNs = 500 * kNsPerMs;

void TellDamage(const std::string& path, bool from_backup) {
  const std::string name(FileName(path));
  if (from_backup) {
    LogWarning("%s is damaged, so its backup %s.bak was taken", name.c_str(), name.c_str());
  } else {
    LogWarning("%s is damaged and there is no good backup, so the defaults were taken",
               name.c_str());
  }
}

}  // namespace

Mutex settings_lock;

Config SettingsOfRun(Config of_file, const RunOptions& options) {
  for (const auto& [name, value] : options.settings) ApplySetting(of_file, name, value);
  // Whoever wrote the file was told, or will be by --check-config.
  (void)Validate(of_file);
  return of_file;
}

Status ReadGameListOfRun(ServiceState& state, GameList& list, bool* file_current) {
  if (state.options.window_title.empty()) {
    return LoadGameList(state.clock, state.game_list_path, list, file_current);
  }
  CaptureTargetEntry window;
  window.kind = TargetKind::Window;
  window.text = state.options.window_title;
  list = {};
  list.entries.push_back(std::move(window));
  if (file_current != nullptr) *file_current = true;
  return Status::Ok();
}

std::string SettingProblem(std::string_view name, std::string_view value) {
  const size_t dot = name.find('.');
  if (dot == std::string_view::npos) return "not a section.key";
  std::string text = "[";
  text += name.substr(0, dot);
  text += "]\n";
  text += name.substr(dot + 1);
  text += " = ";
  text += value;
  text += "\n";
  for (const ConfigFinding& finding : CheckConfigText(text)) {
    if (finding.line >= 2) return finding.text;
  }
  return {};
}

Status ReadUntil(IClock& clock, uint64_t deadline_steady_ns, const std::function<Status()>& read) {
  for (;;) {
    Status status = read();
    if (status.ok() || clock.SteadyNs() >= deadline_steady_ns) return status;
    clock.SleepUntil(clock.SteadyNs() + kReadAgainNs);
  }
}

bool IsUnusable(const std::string& path, const ConfigReadOutcome& outcome) {
  return !outcome.existed && FileExists(path);
}

Status ReadConfigForChange(ServiceState& state, Config& config, ConfigReadOutcome& outcome) {
  Status status = ReadConfig(state.clock, state.config_path, config, outcome);
  if (!status.ok() || !IsUnusable(state.config_path, outcome)) return status;
  const MutexLock lock(state.config_lock);
  config = state.config_of_file;
  return status;
}

void TellConfigDamage(const std::string& path, const ConfigReadOutcome& outcome) {
  if (outcome.from_backup || IsUnusable(path, outcome)) TellDamage(path, outcome.from_backup);
}

void TellGameListDamage(IClock& clock, const std::string& path) {
  SettingsTextFile file;
  if (!ReadSettingsText(clock, path, file).ok()) return;
  if (file.from_backup || file.unusable) TellDamage(path, file.from_backup);
}

uint64_t StampOf(const std::string& path) {
  return LastWriteStamp(path).value_or(0);
}

}  // namespace orventa
