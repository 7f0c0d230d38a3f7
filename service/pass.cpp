#include "service/pass.h"

#include <array>
#include <utility>

#include "base/log.h"
#include "service/channels.h"
#include "service/event_save.h"
#include "service/later.h"
#include "service/recording_news.h"
#include "service/service_state.h"
#include "service/settings_reload.h"
#include "service/sound_news.h"

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
  const EngineSnapshot snapshot = state.engine->GetStatus();
  WatchCamera(state);
  WatchMicrophone(state, snapshot);
  const uint32_t resets = snapshot.history_resets;
  if (resets != std::exchange(state.seen.history_resets, resets)) {
    LogInfo("replay restarted: the new settings cleared it");
    ShowNotification(state, NoticeKind::BufferPaused, "Replay restarted",
                     "The new settings cleared the replay.");
  }
  TellSoundDevices(state, snapshot);
  WatchRecordings(state);
}

void SweepEveryHour(ServiceState& state) {
  if (state.seen.ticks % kSweepTicks == 0) SweepUpdateLeftovers(state);
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

}  // namespace orventa
