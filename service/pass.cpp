#include "service/pass.h"

#include <array>
#include <utility>

#include "base/files.h"
#include "base/log.h"
#include "service/channels.h"
#include "service/event_save.h"
#include "service/later.h"
#include "service/service_state.h"
#include "service/settings_source.h"

namespace orventa {
namespace {

constexpr uint32_t kSweepTicks = 3600;

void TellEncoderChange(ServiceState& state, bool no_encoder) {
  if (no_encoder == std::exchange(state.seen.no_encoder, no_encoder)) return;
  LogInfo(no_encoder ? "no video encoder to record with: replays and recordings are off"
                     : "a video encoder is available again");
}

void TellDriveNearlyFull(ServiceState& state, bool nearly_full) {
  if (std::exchange(state.seen.drive_nearly_full, nearly_full) || !nearly_full) return;
  LogWarning("recording stopped: the drive is nearly full");
  ShowNotification(state, NoticeKind::Problem,
                   "The drive is nearly full, so the recording was stopped and saved. "
                   "Free up some space before recording again.");
}

void TellReplayDiskFailed(ServiceState& state, bool failed) {
  if (std::exchange(state.seen.replay_disk_failed, failed) || !failed) return;
  LogWarning("the replay buffer could not use its folder");
  ShowNotification(state, NoticeKind::Problem,
                   "The replay could not write to its folder, so some of it was lost. Check the "
                   "drive has space, or set Settings > Replays > Stored in to Memory.");
}

void WatchEngineNews(ServiceState& state) {
  WatchCameraAndMicrophone(state);
  const uint32_t resets = state.engine->GetStatus().history_resets;
  if (resets != std::exchange(state.seen.history_resets, resets)) {
    LogInfo("replay restarted: the new settings cleared it");
    ShowNotification(state, NoticeKind::BufferPaused, "Replay restarted",
                     "The new settings cleared the replay.");
  }
  WatchRecordings(state);
}

void SweepEveryHour(ServiceState& state) {
  if (state.seen.ticks % kSweepTicks == 0) SweepUpdateLeftovers(state);
}

// A file is read again on the tick after it stood still for a whole second, and
// not at all when the last to write it was the service.
void WatchSettings(ServiceState& state) {
  const uint64_t config_stamp = LastWriteStamp(state.config_path).value_or(0);
  const uint64_t game_list_stamp = LastWriteStamp(state.game_list_path).value_or(0);
  if (config_stamp != state.config_stamp || game_list_stamp != state.game_list_stamp) {
    state.config_stamp = config_stamp;
    state.game_list_stamp = game_list_stamp;
    state.reload_pending = !state.own_write;
  } else if (std::exchange(state.reload_pending, false)) {
    Reconfigure(state);
  }
}

constexpr std::array<void (*)(ServiceState&), 16> kPass = {
    FlushEventSaveOfGoneGame, WatchTrayHover,        RefreshTray,    WatchEngineNews,
    RunCleanupSchedule,       SweepEveryHour,        WatchSettings,  RunUpdateSchedule,
    OpenControlChannels,      ShowHeldProblems,      WatchGameGone,  CheckHotkeyMethod,
    WarnOfUnheardInput,       CheckGameIntegrations, RunUpdateGates, CheckHookHealth,
};

}  // namespace

void RunPass(ServiceState& state) {
  state.seen.ticks++;
  for (const auto step : kPass) step(state);
}

void RefreshTray(ServiceState& state) {
  const EngineSnapshot snapshot = state.engine->GetStatus();
  TellEncoderChange(state, snapshot.no_encoder);
  TellDriveNearlyFull(state, snapshot.drive_nearly_full);
  TellReplayDiskFailed(state, snapshot.buffer_disk_failures > 0);
  DrawTray(state, snapshot);
}

void Reconfigure(ServiceState& state) {
  LogInfo("reloading settings");
  Config config;
  if (Status status = LoadSettings(state.config_path, state.options.settings, config);
      !status.ok()) {
    LogWarning("could not read %s: %s", state.config_path.c_str(), status.ToString().c_str());
    ShowNotification(state, NoticeKind::Problem, "Could not read the settings file.");
    return;
  }
  ValidateSettings(config);
  ReadGameList(state);
  {
    const MutexLock lock(state.config_lock);
    state.config = config;
  }
  ApplyShellEntries(state);
  RestartGameIntegrations(state);
  BindHotkeys(state);
  ConnectInputOverlay(state);
  LogInfo("reconfigure: bitrate=%u adapter=%s pattern=%s", config.video.bitrate_kbps,
          config.adapter.empty() ? "(automatic)" : config.adapter.c_str(),
          config.storage.replay.filename_pattern.c_str());
  // What the engine could not take it tells through its status.
  (void)state.engine->ApplySettings(config, CopyGameList(state));
}

void TakeStamps(ServiceState& state) {
  state.config_stamp = LastWriteStamp(state.config_path).value_or(0);
  state.game_list_stamp = LastWriteStamp(state.game_list_path).value_or(0);
}

}  // namespace orventa
