#include "service/later.h"

#include <algorithm>

#include "base/log.h"
#include "service/platform.h"
#include "service/service_state.h"

namespace orventa {

std::optional<int> RunUninstaller(Platform& platform, std::span<const std::string> arguments) {
  const auto asks = [](const std::string& word) {
    return word == "--uninstall" || word == "--uninstall-run";
  };
  if (std::none_of(arguments.begin(), arguments.end(), asks)) return std::nullopt;
  platform.dialogs.Show("This version of ORVENTA cannot uninstall itself.", DialogIcon::Error);
  return 1;
}

std::optional<int> RunCrashGuard(Platform& platform, std::span<const std::string> arguments) {
  if (arguments.size() != 4 || arguments[0] != "--guard") return std::nullopt;
  platform.dialogs.Show("This version of ORVENTA has no crash guard.", DialogIcon::Error);
  return 1;
}

void KeepCrashRehearsal(const std::string&) {}
void StartCrashGuard(ServiceState&) {}
void StopCrashGuardWatch(ServiceState&) {}
bool ReadCrashNews(ServiceState&) {
  return false;
}
void StartHangWatch(ServiceState&) {}
void StopHangWatch(ServiceState&) {}
void StartCrashRehearsal(ServiceState&) {}
bool UnfinishedUpdateLies(const Platform&) {
  return false;
}
void FinishInterruptedUpdate(ServiceState&) {}
void DeleteOldInstallers(ServiceState&) {}
void SweepUpdateLeftovers(ServiceState&) {}
void RunUpdateSchedule(ServiceState&) {}
void RunUpdateGates(ServiceState&) {}
void SetLanguage(const std::string&) {}
void SeedDefaultProfile(ServiceState&) {}
void KeepInPreset(ServiceState&, const Config::Video&) {}
void NoteProfileStorage(ServiceState&, const Config&) {}
void ApplyShellEntries(ServiceState&) {}
void RepairInstalledAppsEntry(ServiceState&) {}
void StartGameEvents(ServiceState&) {}
void StopGameEvents(ServiceState&) {}
void RestartGameIntegrations(ServiceState&) {}
void CheckGameIntegrations(ServiceState&) {}
void StartLibraryScan(ServiceState&) {}
void LinkFinishedMatch(ServiceState&, const std::string&) {}
void AddTrayIcon(ServiceState&) {}
void RemoveTrayIcon(ServiceState&) {}
void RestoreTrayIcon(ServiceState&) {}
void LoadResources(ServiceState&) {}
void DrawTray(ServiceState&, const EngineSnapshot&) {}
void RedrawForTheme(ServiceState&) {}
void WatchTrayHover(ServiceState&) {}
void ShowOnDesktop(ServiceState&, const NoticeRecord&) {}
void ShowHeldProblems(ServiceState&) {}
void RunNoticeQueue(ServiceState&) {}
void BindHotkeys(ServiceState&) {}
void WatchForeground(ServiceState&) {}
void ArmKeyboardHook(ServiceState&) {}
void ReleaseHotkeys(ServiceState&) {}
void CheckHotkeyMethod(ServiceState&) {}
void CheckHookHealth(ServiceState&) {}
void WatchHeldKeys(ServiceState&) {}
void PollKeys(ServiceState&) {}
void ConnectInputOverlay(ServiceState&) {}
void StopInputOverlay(ServiceState&) {}
void WarnOfUnheardInput(ServiceState&) {}
void NoteDisplays(ServiceState&) {}
void WatchCamera(ServiceState&) {}
void RunCleanupSchedule(ServiceState&) {}
void RequestCleanup(ServiceState&) {}
std::string WarnCleanupFolder(ServiceState&, const Config&, OutputKind) {
  return {};
}
bool ExportRunning(ServiceState&) {
  return false;
}
void CancelExport(ServiceState&) {}
void RequestScreenshot(ServiceState& state) {
  state.saves.screenshots_failed++;
  LogWarning("screenshot failed: screenshots are not here yet");
  ShowNotification(state, NoticeKind::Problem, "Could not take a screenshot");
}

void WatchGameGone(ServiceState&) {}

}  // namespace orventa
