#include "service/settings_reload.h"

#include <utility>

#include "base/log.h"
#include "service/first_run.h"
#include "service/later.h"
#include "service/service_state.h"

namespace orventa {
namespace {

constexpr uint64_t kSettingsWaitNs = 2'000 * kNsPerMs;
constexpr uint64_t kSettingsWaitAtSignInNs = 20'000 * kNsPerMs;

void LogUnreadable(const std::string& path, const Status& status) {
  LogError("could not read %s: %s", path.c_str(), status.ToString().c_str());
}

// Whether this machine's encoders had something to say about the settings.
bool FitToMachine(ServiceState& state, Config& config, bool first_run) {
  MachineCodecs codecs;
  if (state.platform.find_codecs) codecs = state.platform.find_codecs(config.adapter);
  if (first_run) {
    if (state.platform.mark_what_plays) state.platform.mark_what_plays(codecs);
    ChooseFirstRunCodec(codecs, config);
  }
  return TestCodecs(codecs, config);
}

void TakeSettings(ServiceState& state, const Config& of_file) {
  Config config = SettingsOfRun(of_file, state.options);
  const MutexLock lock(state.config_lock);
  state.config = std::move(config);
  state.config_of_file = of_file;
}

void TakeGameList(ServiceState& state, GameList list) {
  const MutexLock lock(state.config_lock);
  state.game_list = std::move(list);
}

Status ReadConfigAgain(ServiceState& state, Config& config) {
  ConfigReadOutcome outcome;
  Status status = ReadConfig(state.clock, state.config_path, config, outcome);
  if (!status.ok()) return status;
  // What runs is worth more than the defaults; at a start there is nothing better.
  if (IsUnusable(state.config_path, outcome)) {
    return {StatusCode::InvalidArgument, "the file is damaged, and so is its backup"};
  }
  TellConfigDamage(state.config_path, outcome);
  return Status::Ok();
}

}  // namespace

std::optional<int> ReadSettingsAtStart(ServiceState& state) {
  state.config_path = ConfigPath(state.platform.folders);
  state.game_list_path = GameListPath(ParentFolder(state.config_path));
  const uint64_t deadline_ns =
      state.started_ns + (state.options.autostart ? kSettingsWaitAtSignInNs : kSettingsWaitNs);
  const MutexLock lock(settings_lock);
  Config config;
  ConfigReadOutcome outcome;
  Status status = ReadUntil(state.clock, deadline_ns, [&] {
    outcome = {};
    return ReadConfig(state.clock, state.config_path, config, outcome);
  });
  if (!status.ok()) {
    LogUnreadable(state.config_path, status);
    return 1;
  }
  TellConfigDamage(state.config_path, outcome);
  const bool fitted = FitToMachine(state, config, !outcome.existed);
  if (!outcome.existed || outcome.rewrite || fitted) {
    status = WriteConfig(config, state.config_path);
    if (!status.ok()) LogWarning("settings: %s", status.message().c_str());
  }
  TakeSettings(state, config);
  return std::nullopt;
}

void ReadGameListAtStart(ServiceState& state) {
  const MutexLock lock(settings_lock);
  GameList list;
  bool file_current = false;
  Status status = ReadGameListOfRun(state, list, &file_current);
  if (!status.ok()) {
    LogUnreadable(state.game_list_path, status);
    ShowNotification(state, NoticeKind::Problem, "Could not read the game list.");
    TakeGameList(state, DefaultGameList());
    return;
  }
  if (!file_current) {
    TellGameListDamage(state.clock, state.game_list_path);
    status = SaveGameList(list, state.game_list_path);
    if (!status.ok()) LogWarning("settings: %s", status.message().c_str());
  }
  TakeGameList(state, std::move(list));
}

void WatchSettings(ServiceState& state) {
  const uint64_t config_stamp = StampOf(state.config_path);
  const uint64_t game_list_stamp = StampOf(state.game_list_path);
  if (config_stamp != state.config_stamp || game_list_stamp != state.game_list_stamp) {
    state.config_stamp = config_stamp;
    state.game_list_stamp = game_list_stamp;
    state.reload_pending = !state.own_write;
  } else if (std::exchange(state.reload_pending, false)) {
    Reconfigure(state);
  }
}

void Reconfigure(ServiceState& state) {
  LogInfo("reloading settings");
  Config of_file;
  if (const Status status = ReadConfigAgain(state, of_file); !status.ok()) {
    LogUnreadable(state.config_path, status);
    ShowNotification(state, NoticeKind::Problem, "Could not read the settings file.");
    return;
  }
  GameList list;
  bool file_current = false;
  if (const Status status = ReadGameListOfRun(state, list, &file_current); !status.ok()) {
    LogUnreadable(state.game_list_path, status);
    ShowNotification(state, NoticeKind::Problem, "Could not read the game list.");
    return;
  }
  if (!file_current) TellGameListDamage(state.clock, state.game_list_path);
  TakeSettings(state, of_file);
  TakeGameList(state, std::move(list));
  const Config config = CopyConfig(state);
  SetLanguage(config.window.language);
  ApplyShellEntries(state);
  RequestCleanup(state);
  RestartGameIntegrations(state);
  BindHotkeys(state);
  ConnectInputOverlay(state);
  LogInfo("reconfigure: bitrate=%u adapter=%s pattern=%s", config.video.bitrate_kbps,
          config.adapter.empty() ? "(automatic)" : config.adapter.c_str(),
          config.storage.replay.filename_pattern.c_str());
  // What the engine could not take it tells through its status.
  (void)state.engine->ApplySettings(config, CopyGameList(state));
}

void OnSettingsChanged(ServiceState& state) {
  TakeStamps(state);
  state.reload_pending = false;
  Reconfigure(state);
  state.own_write = false;
}

void TakeStamps(ServiceState& state) {
  state.config_stamp = StampOf(state.config_path);
  state.game_list_stamp = StampOf(state.game_list_path);
}

}  // namespace orventa
