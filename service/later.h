// The places of features that have not moved in yet: operations that stand where
// they belong in the start, the pass, the exit and the menus, and do nothing. Each
// group names who fills it; whatever answers, answers that it is not there.
// Main thread, except where a line says otherwise.
#pragma once

#include <optional>
#include <span>
#include <string>

#include "settings/config.h"
#include "video/replay_engine.h"

namespace orventa {

struct NoticeRecord;
struct Platform;
struct ServiceState;

// Uninstaller and crash guard as programs of their own: an exit code when the
// command line asks for one of them, which no start of the service follows.
std::optional<int> RunUninstaller(Platform& platform, std::span<const std::string> arguments);
std::optional<int> RunCrashGuard(Platform& platform, std::span<const std::string> arguments);

// Crash guard, crash rehearsal and hang watch.
void KeepCrashRehearsal(const std::string& request);
void StartCrashGuard(ServiceState& state);
void StopCrashGuardWatch(ServiceState& state);
// Whether the last run ended in a crash that wants the window back.
bool ReadCrashNews(ServiceState& state);
void StartHangWatch(ServiceState& state);
void StopHangWatch(ServiceState& state);
void StartCrashRehearsal(ServiceState& state);

// Update.
bool UnfinishedUpdateLies(const Platform& platform);
void FinishInterruptedUpdate(ServiceState& state);
void DeleteOldInstallers(ServiceState& state);
void SweepUpdateLeftovers(ServiceState& state);
void RunUpdateSchedule(ServiceState& state);
void RunUpdateGates(ServiceState& state);

// Languages. "system" follows the desktop.
void SetLanguage(const std::string& language);

// Presets and profiles. Settings that came from a named preset go back into it when
// they are edited; the folders of this machine stay with a profile. The last two
// run on the control thread with settings_lock held.
void SeedDefaultProfile(ServiceState& state);
void KeepInPreset(ServiceState& state, const Config::Video& video);
void NoteProfileStorage(ServiceState& state, const Config& config);

// Shell entries: autostart, context menus, link handler, installed apps.
void ApplyShellEntries(ServiceState& state);
void RepairInstalledAppsEntry(ServiceState& state);

// Game events.
void StartGameEvents(ServiceState& state);
void StopGameEvents(ServiceState& state);
void RestartGameIntegrations(ServiceState& state);
void CheckGameIntegrations(ServiceState& state);

// The library's scan, and matches that a saved file shows; the second on the save thread.
void StartLibraryScan(ServiceState& state);
void LinkFinishedMatch(ServiceState& state, const std::string& path);

// Tray, status card and desktop notices.
void AddTrayIcon(ServiceState& state);
void RemoveTrayIcon(ServiceState& state);
void RestoreTrayIcon(ServiceState& state);
void LoadResources(ServiceState& state);
void DrawTray(ServiceState& state, const EngineSnapshot& snapshot);
void RedrawForTheme(ServiceState& state);
void WatchTrayHover(ServiceState& state);
void ShowOnDesktop(ServiceState& state, const NoticeRecord& notice);
void ShowHeldProblems(ServiceState& state);
void RunNoticeQueue(ServiceState& state);

// Hotkeys.
void BindHotkeys(ServiceState& state);
void WatchForeground(ServiceState& state);
void ArmKeyboardHook(ServiceState& state);
void ReleaseHotkeys(ServiceState& state);
void CheckHotkeyMethod(ServiceState& state);
void CheckHookHealth(ServiceState& state);
void WatchHeldKeys(ServiceState& state);
void PollKeys(ServiceState& state);

// Input overlay.
void ConnectInputOverlay(ServiceState& state);
void StopInputOverlay(ServiceState& state);
void WarnOfUnheardInput(ServiceState& state);

// Displays, camera news.
void NoteDisplays(ServiceState& state);
void WatchCamera(ServiceState& state);

// Cleanup. The second asks for a run soon, if anything is to be cleaned up by age;
// the third says why a kind's folder would not be cleaned up, on any thread.
void RunCleanupSchedule(ServiceState& state);
void RequestCleanup(ServiceState& state);
std::string WarnCleanupFolder(ServiceState& state, const Config& config, OutputKind kind);

// Exports.
bool ExportRunning(ServiceState& state);
void CancelExport(ServiceState& state);

// Screenshots.
void RequestScreenshot(ServiceState& state);

// The window's answer to a game that closed.
void WatchGameGone(ServiceState& state);

}  // namespace orventa
