#include "service/actions.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "base/files.h"
#include "base/log.h"
#include "base/text.h"
#include "service/later.h"
#include "service/pass.h"
#include "service/saving.h"
#include "service/service_state.h"
#include "service/settings_changes.h"
#include "settings/output_folders.h"

namespace orventa {
namespace {

constexpr char kWindowProgram[] = "ORVENTA GUI.exe";

void SaveWholeReplay(ServiceState& state) {
  RequestSave(state, 0, false);
}

void SaveClip(ServiceState& state) {
  const uint32_t seconds = state.engine ? state.engine->GetStatus().clip_seconds : 0;
  RequestSave(state, seconds, true);
}

void AddMarker(ServiceState& state) {
  size_t count = 0;
  if (Status status = state.engine->AddMarker(count); !status.ok()) {
    LogWarning("marker not set: %s", status.ToString().c_str());
    return;
  }
  ShowNotification(state, NoticeKind::Marker, Format("Marker %zu", count));
}

void OpenCustomRun(ServiceState& state, CustomRun run) {
  const char* kind = CustomRunWord(run);
  const EngineSnapshot snapshot = state.engine->GetStatus();
  if (snapshot.no_encoder) {
    LogWarning("refused: no video encoder to record with");
    ShowNotification(state, NoticeKind::Problem, "No video encoder to record with");
    return;
  }
  if (snapshot.recording) {
    LogInfo("custom %s ignored: a recording is in progress", kind);
    return;
  }
  if (snapshot.no_target) {
    LogInfo("custom %s ignored: no valid target", kind);
    return;
  }
  state.custom_request = run;
  LogInfo("custom %s requested", kind);
  OpenWindow(state, std::string("--custom ") + kind);
}

void OpenCustomReplay(ServiceState& state) {
  OpenCustomRun(state, CustomRun::Replay);
}
void OpenCustomRecording(ServiceState& state) {
  OpenCustomRun(state, CustomRun::Recording);
}
void LouderMicrophone(ServiceState& state) {
  AdjustMicrophoneLevel(state, 1);
}
void QuieterMicrophone(ServiceState& state) {
  AdjustMicrophoneLevel(state, -1);
}

void OpenReplayFolder(ServiceState& state) {
  const Config config = CopyConfig(state);
  const std::string& chosen = config.storage.replay.directory;
  const std::string folder =
      chosen.empty() ? DefaultOutputFolder(state.platform.folders, OutputKind::Replay) : chosen;
  int64_t code = 0;
  if (!state.platform.desktop.OpenFolder(folder, code)) {
    LogError("could not open %s (%lld)", folder.c_str(), static_cast<long long>(code));
  }
}

void OpenText(ServiceState& state, const std::string& path) {
  int64_t code = 0;
  if (state.platform.desktop.OpenTextFile(path, code)) return;
  LogError("could not open %s (%lld)", path.c_str(), static_cast<long long>(code));
}

void EditGameList(ServiceState& state) {
  OpenText(state, state.game_list_path);
}

void PlayLastSaved(ServiceState& state) {
  std::string path;
  {
    const MutexLock lock(state.saves.lock);
    path = state.saves.last_saved_path;
  }
  if (!path.empty()) OpenWindow(state, "--player \"" + path + "\"");
}

void StartRecording(ServiceState& state) {
  std::string path;
  const Status status = state.engine->StartRecording(path);
  if (status.ok()) {
    ShowNotification(state, NoticeKind::Recording, "Recording started", std::string(FileName(path)),
                     path);
    return;
  }
  LogError("start recording failed: %s", status.ToString().c_str());
  const char* text = status.code() == StatusCode::NoTarget
                         ? "Nothing on the game list is open to record."
                     : status.code() == StatusCode::NoEncoder ? "No video encoder to record with"
                                                              : "Could not start recording.";
  ShowNotification(state, NoticeKind::Problem, text);
}

void StopRecording(ServiceState& state) {
  std::string path;
  const Status status = state.engine->StopRecording(path);
  if (status.ok()) {
    LogInfo("recording stopping: %s", path.c_str());
    return;
  }
  LogError("stop recording failed: %s", status.ToString().c_str());
  ShowNotification(state, NoticeKind::Problem, "Nothing was recorded.");
}

void StartRecordingIfOff(ServiceState& state) {
  if (!state.engine->IsRecording()) ToggleRecording(state);
}
void StopRecordingIfOn(ServiceState& state) {
  if (state.engine->IsRecording()) ToggleRecording(state);
}
void ResumeIfPaused(ServiceState& state) {
  if (state.engine->IsPaused()) ToggleBufferPause(state);
}
void PauseIfResumed(ServiceState& state) {
  if (!state.engine->IsPaused()) ToggleBufferPause(state);
}

void ExitFromMenu(ServiceState& state) {
  const std::string window = JoinPath(state.platform.folders.program, kWindowProgram);
  if (ExportRunning(state) && FileExists(window)) {
    OpenWindow(state, "--ask-exit");
    return;
  }
  EndService(state);
}

struct CommandRow {
  TrayCommand command;
  void (*run)(ServiceState& state);
};

constexpr std::array kCommands = {
    CommandRow{TrayCommand::SaveReplay, SaveWholeReplay},
    CommandRow{TrayCommand::SaveClip, SaveClip},
    CommandRow{TrayCommand::TogglePause, ToggleBufferPause},
    CommandRow{TrayCommand::ToggleRecording, ToggleRecording},
    CommandRow{TrayCommand::Screenshot, RequestScreenshot},
    CommandRow{TrayCommand::AddMarker, AddMarker},
    CommandRow{TrayCommand::OpenReplayFolder, OpenReplayFolder},
    CommandRow{TrayCommand::OpenWindow, [](ServiceState& s) { OpenWindow(s, ""); }},
    CommandRow{TrayCommand::EditGameList, EditGameList},
    CommandRow{TrayCommand::Exit, ExitFromMenu},
    CommandRow{TrayCommand::CustomReplay, OpenCustomReplay},
    CommandRow{TrayCommand::CustomRecording, OpenCustomRecording},
    CommandRow{TrayCommand::ToggleAudio, ToggleAudio},
    CommandRow{TrayCommand::ToggleMicrophone, ToggleMicrophone},
    CommandRow{TrayCommand::ToggleMicrophoneMono, ToggleMicrophoneMono},
    CommandRow{TrayCommand::OpenReplays,
               [](ServiceState& s) { OpenWindow(s, "--library replay"); }},
    CommandRow{TrayCommand::OpenRecordings,
               [](ServiceState& s) { OpenWindow(s, "--library recording"); }},
    CommandRow{TrayCommand::OpenScreenshots,
               [](ServiceState& s) { OpenWindow(s, "--library screenshot"); }},
    CommandRow{TrayCommand::MicrophoneLouder, LouderMicrophone},
    CommandRow{TrayCommand::MicrophoneQuieter, QuieterMicrophone},
    CommandRow{TrayCommand::PlayLastSaved, PlayLastSaved},
    CommandRow{TrayCommand::StartRecording, StartRecordingIfOff},
    CommandRow{TrayCommand::StopRecording, StopRecordingIfOn},
    CommandRow{TrayCommand::OpenLibraryPage,
               [](ServiceState& s) { OpenWindow(s, "--page library"); }},
    CommandRow{TrayCommand::OpenSettingsPage,
               [](ServiceState& s) { OpenWindow(s, "--page settings"); }},
    CommandRow{TrayCommand::ResumeReplay, ResumeIfPaused},
    CommandRow{TrayCommand::StopReplay, PauseIfResumed},
};

struct ActionRow {
  HotkeyAction action;
  void (*run)(ServiceState& state);
  uint64_t repeat_after_ms = 700;  // a press sooner after the last is the same press
};

constexpr std::array kActions = {
    ActionRow{HotkeyAction::SaveReplay, SaveWholeReplay},
    ActionRow{HotkeyAction::SaveClip, SaveClip},
    ActionRow{HotkeyAction::TogglePause, ToggleBufferPause},
    ActionRow{HotkeyAction::ToggleRecording, ToggleRecording},
    ActionRow{HotkeyAction::Screenshot, RequestScreenshot},
    ActionRow{HotkeyAction::CustomReplay, OpenCustomReplay},
    ActionRow{HotkeyAction::CustomRecording, OpenCustomRecording},
    ActionRow{HotkeyAction::ToggleAudio, ToggleAudio},
    ActionRow{HotkeyAction::ToggleMicrophone, ToggleMicrophone},
    ActionRow{HotkeyAction::ToggleMicrophoneMono, ToggleMicrophoneMono},
    ActionRow{HotkeyAction::MicrophoneLouder, LouderMicrophone, 120},
    ActionRow{HotkeyAction::MicrophoneQuieter, QuieterMicrophone, 120},
    ActionRow{HotkeyAction::AddMarker, AddMarker},
    ActionRow{HotkeyAction::ToggleWebcam, ToggleWebcam},
};
static_assert(kActions.size() == kHotkeyActionCount);

}  // namespace

void RunHotkeyAction(ServiceState& state, HotkeyAction action) {
  if (state.hotkeys_suspended || !state.engine) return;
  const auto row = std::find_if(kActions.begin(), kActions.end(),
                                [&](const ActionRow& known) { return known.action == action; });
  if (row == kActions.end()) return;
  std::optional<uint64_t>& ran_ns = state.action_ran_ns[static_cast<size_t>(action)];
  const uint64_t now_ns = state.clock.SteadyNs();
  if (ran_ns && now_ns - *ran_ns < row->repeat_after_ms * kNsPerMs) return;
  ran_ns = now_ns;
  row->run(state);
}

void RunTrayCommand(ServiceState& state, TrayCommand command) {
  if (!state.engine) return;
  const auto row = std::find_if(kCommands.begin(), kCommands.end(),
                                [&](const CommandRow& known) { return known.command == command; });
  if (row != kCommands.end()) row->run(state);
}

void ToggleBufferPause(ServiceState& state) {
  if (state.engine->IsRecording()) {
    ShowNotification(state, NoticeKind::Problem,
                     "The replay can't start or stop during a recording. "
                     "Stop the recording first.");
    return;
  }
  const bool paused = !state.engine->IsPaused();
  state.engine->SetPaused(paused);
  LogInfo("replay %s", paused ? "paused" : "resumed");
  if (CopyConfig(state).service.remember_pause) {
    Remember(state, [paused](Config& config) { config.service.paused = paused; });
  }
  ShowNotification(state, NoticeKind::BufferPaused, paused ? "Replay stopped" : "Replay started");
}

void ToggleRecording(ServiceState& state) {
  if (state.engine->IsRecording()) {
    StopRecording(state);
  } else {
    StartRecording(state);
  }
  RefreshTray(state);
}

void OpenWindow(ServiceState& state, const std::string& arguments) {
  const std::string& folder = state.platform.folders.program;
  const std::string window = JoinPath(folder, kWindowProgram);
  int64_t code = 0;
  if (FileExists(window)) {
    if (state.platform.desktop.StartProgram(window, arguments, folder, code)) return;
    LogError("could not open %s (%lld)", window.c_str(), static_cast<long long>(code));
    return;
  }
  LogWarning("%s not found beside the service; opening the settings file instead", kWindowProgram);
  OpenText(state, state.config_path);
}

void EndService(ServiceState& state) {
  StopHangWatch(state);
  RemoveTrayIcon(state);
  state.loop->Quit();
}

}  // namespace orventa
