#include "service/start.h"

#include <array>
#include <string_view>
#include <utility>

#include "base/files.h"
#include "base/log.h"
#include "base/text.h"
#include "service/actions.h"
#include "service/channels.h"
#include "service/command_words.h"
#include "service/later.h"
#include "service/library_lines.h"
#include "service/repair.h"
#include "service/service_state.h"
#include "service/settings_changes.h"
#include "service/settings_reload.h"

namespace orventa {
namespace {

constexpr uint32_t kInstanceWaitMs = 30'000;

// At sign-in nobody has asked for anything, so nobody is told.
void ShowUnlessAutostart(Platform& platform, const RunOptions& options, std::string_view text,
                         DialogIcon icon = DialogIcon::Error) {
  if (!options.autostart) platform.dialogs.Show(text, icon);
}

std::optional<int> ReadOptions(Platform& platform, std::span<const std::string> arguments,
                               RunOptions& options) {
  const Status status = ReadRunOptions(arguments, options);
  if (status.ok()) return std::nullopt;
  platform.dialogs.Show(status.message(), DialogIcon::Error);
  return 2;
}

// Only so that whatever must be said before the real reading is said in the
// user's language.
void SetLanguageEarly(Platform& platform) {
  Config config;
  ConfigReadOutcome outcome;
  (void)ReadConfig(platform.clock, ConfigPath(platform.folders), config, outcome);
  SetLanguage(config.window.language);  // unread: the default
}

std::optional<int> CheckMediaParts(Platform& platform, const RunOptions& options) {
  if (platform.process.MediaPartsPresent()) return std::nullopt;
  ShowUnlessAutostart(platform, options,
                      "ORVENTA needs Windows Media Foundation, which this edition of Windows "
                      "leaves out. Install the Media Feature Pack from Optional features in "
                      "Settings, then start ORVENTA again.");
  return 1;
}

// A start that was sent by a run that is ending may wait for it.
InstanceResult WaitForInstance(Platform& platform, Beginning& beginning) {
  const RunOptions& options = beginning.options;
  if (!options.after_update && !options.after_crash && !UnfinishedUpdateLies(platform)) {
    return InstanceResult::HeldByAnother;
  }
  if (options.after_update && options.updated_process != 0) {
    platform.process.WaitForOlderProcess(options.updated_process, kInstanceWaitMs);
  }
  return platform.process.AcquireInstance(kInstanceWaitMs, beginning.instance);
}

std::optional<int> BecomeTheOneInstance(Platform& platform, Beginning& beginning) {
  InstanceResult result = platform.process.AcquireInstance(0, beginning.instance);
  if (result == InstanceResult::HeldByAnother) result = WaitForInstance(platform, beginning);
  if (result == InstanceResult::Acquired) return std::nullopt;
  const RunOptions& options = beginning.options;
  if (!options.autostart && !options.from_window && !options.after_crash && !options.after_update) {
    platform.dialogs.Show("ORVENTA is already running.", DialogIcon::Information);
  }
  return 0;
}

void OpenServiceLog(Platform& platform) {
  // A log that cannot be written must not keep the service from its work.
  const std::string folder(ParentFolder(ConfigPath(platform.folders)));
  (void)CreateFolders(folder);
  OpenLog(platform.clock, JoinPath(folder, "ORVENTA.log"));
}

std::optional<int> ReadSettings(ServiceState& state) {
  const auto code = ReadSettingsAtStart(state);
  if (code) {
    ShowUnlessAutostart(state.platform, state.options, "Could not read the settings file.");
  }
  return code;
}

void LogStart(ServiceState& state) {
  const Config config = CopyConfig(state);
  const RunOptions& options = state.options;
  LogInfo("start: version=%s autostart=%d background=%d signin=%d window=%d after_crash=%d",
          ORVENTA_VERSION, config.service.start_with_windows, config.service.start_in_background,
          options.autostart, options.from_window, options.after_crash);
}

std::optional<int> MakeLoop(ServiceState& state) {
  state.loop = state.platform.desktop.MakeLoop();
  if (state.loop) return std::nullopt;
  LogError("the main window could not be made");
  return 1;
}

std::optional<int> StartEngine(ServiceState& state) {
  Status status = state.platform.make_engine(CopyConfig(state), CopyGameList(state), state.engine);
  if (status.ok()) status = state.engine->Start();
  if (status.ok()) return std::nullopt;
  LogError("the engine could not be started: %s", status.ToString().c_str());
  ShowUnlessAutostart(state.platform, state.options, "Could not start the capture engine.");
  RemoveTrayIcon(state);
  return 1;
}

void RestorePause(ServiceState& state) {
  const Config::Service service = CopyConfig(state).service;
  if (!service.remember_pause || !service.paused) return;
  state.engine->SetPaused(true);
  LogInfo("replay starts paused (remembered from last run)");
}

enum class ReopenMarker { None, Open, OpenMinimized };

// Left by whoever closed a window that was open, an update or a crash.
ReopenMarker TakeReopenMarker(const KnownFolders& folders) {
  const std::string path = JoinPath(folders.local_data, "reopen-window");
  std::string word;
  if (!ReadWholeFile(path, 64, word).ok()) return ReopenMarker::None;
  (void)RemoveFile(path);
  return Trim(word) == "minimized" ? ReopenMarker::OpenMinimized : ReopenMarker::Open;
}

// Nothing: the window stays closed. Else the arguments to open it with.
std::optional<std::string> WindowAtStart(ServiceState& state, bool crash_wants_window) {
  const ReopenMarker marker = TakeReopenMarker(state.platform.folders);
  if (crash_wants_window) return "";
  if (marker == ReopenMarker::OpenMinimized) return "--minimized";
  if (state.options.after_crash) return std::nullopt;
  if (!CopyConfig(state).service.start_in_background || marker == ReopenMarker::Open) return "";
  return std::nullopt;
}

void DecideAboutWindow(ServiceState& state, bool crash_wants_window) {
  if (state.options.from_window) return;
  if (const auto arguments = WindowAtStart(state, crash_wants_window)) {
    OpenWindow(state, *arguments);
    return;
  }
  ShowNotification(state, NoticeKind::RunningInBackground, "Running in the background.",
                   "Click the ORVENTA icon by the clock (under ^ if it is hidden) to open it.");
}

void RaiseGraphicsPriority(ServiceState& state) {
  const std::string_view rank = state.platform.process.RaiseGraphicsPriority();
  LogInfo("gpu: %.*s scheduling", static_cast<int>(rank.size()), rank.data());
}

void HoldFolders(ServiceState& state) {
  IProcess& process = state.platform.process;
  state.held_config_folder = process.HoldFolder(std::string(ParentFolder(state.config_path)));
  state.held_program_folder = process.HoldFolder(state.platform.folders.program);
}

}  // namespace

std::optional<int> BeginRun(Platform& platform, std::span<const std::string> arguments,
                            Beginning& beginning) {
  if (const auto code = AnswerCommandWord(platform, arguments)) return code;
  if (const auto code = RunUninstaller(platform, arguments)) return code;
  if (const auto code = RunCrashGuard(platform, arguments)) return code;
  KeepCrashRehearsal(platform.process.TakeEnvironment("ORVENTA_TEST_CRASH"));
  beginning.started_ns = platform.clock.SteadyNs();
  platform.process.HonourTimerRequests();
  if (const auto code = ReadOptions(platform, arguments, beginning.options)) return code;
  SetLanguageEarly(platform);
  if (const auto code = CheckMediaParts(platform, beginning.options)) return code;
  return BecomeTheOneInstance(platform, beginning);
}

std::optional<int> StartService(ServiceState& state) {
  OpenServiceLog(state.platform);
  FinishInterruptedUpdate(state);
  StartCrashGuard(state);
  state.platform.process.SetAppIdentity();
  if (const auto code = ReadSettings(state)) return code;
  SetLanguage(CopyConfig(state).window.language);
  ApplyShellEntries(state);
  LogStart(state);
  const bool crash_wants_window = ReadCrashNews(state);
  RepairInstalledAppsEntry(state);
  ReadGameListAtStart(state);
  LoadLibrary(state);
  SeedDefaultProfile(state);
  if (const auto code = MakeLoop(state)) return code;
  AddTrayIcon(state);
  TakeStamps(state);
  NoteDisplays(state);
  LoadResources(state);
  BindHotkeys(state);
  if (const auto code = StartEngine(state)) return code;
  ConnectInputOverlay(state);
  RestorePause(state);
  OpenControlChannels(state);
  StartGameEvents(state);
  WatchForeground(state);
  state.loop->SetTimer(static_cast<uint32_t>(ServiceTimer::Pass), kPassPeriodMs);
  DecideAboutWindow(state, crash_wants_window);
  HoldFolders(state);
  DeleteOldInstallers(state);
  SweepUpdateLeftovers(state);
  RaiseGraphicsPriority(state);
  ForgetVanishedFiles(state);
  StartLibraryScan(state);
  RepairRecordings(state);
  TellUpdated(state);
  StartHangWatch(state);
  StartCrashRehearsal(state);
  ArmKeyboardHook(state);
  return std::nullopt;
}

}  // namespace orventa
