#include "service/exit.h"

#include "base/log.h"
#include "service/channels.h"
#include "service/event_save.h"
#include "service/later.h"
#include "service/recording_news.h"
#include "service/saving.h"
#include "service/service_state.h"

namespace orventa {
namespace {

constexpr uint64_t kPollNs = 25 * kNsPerMs;
constexpr uint64_t kSaveWaitNs = 15'000 * kNsPerMs;
constexpr uint64_t kExportWaitNs = 10'000 * kNsPerMs;
constexpr uint64_t kBackgroundWaitNs = 3'000 * kNsPerMs;
constexpr uint64_t kSignOutSaveWaitNs = 60'000 * kNsPerMs;
constexpr uint64_t kSignOutExportWaitNs = 2'000 * kNsPerMs;

// Whether it ended in time.
bool WaitWhile(ServiceState& state, bool (*busy)(ServiceState&), uint64_t deadline_ns) {
  while (busy(state)) {
    const uint64_t now_ns = state.clock.SteadyNs();
    if (now_ns >= deadline_ns) return false;
    state.clock.SleepUntil(now_ns + kPollNs);
  }
  return true;
}

bool AnyOutputInProgress(ServiceState& state) {
  return SaveInProgress(state) || state.saves.screenshots_pending > 0;
}

void FinishEventSave(ServiceState& state) {
  if (!state.event_save || !state.engine->IsRunning()) return;
  (void)WaitWhile(state, SaveInProgress, state.clock.SteadyNs() + kSaveWaitNs);
  FlushEventSave(state);
}

bool FinishSaves(ServiceState& state) {
  if (WaitWhile(state, AnyOutputInProgress, state.clock.SteadyNs() + kSaveWaitNs)) return true;
  LogWarning("exiting while a save is still writing; it will not be kept");
  return false;
}

bool FinishExport(ServiceState& state, uint64_t cancelled_ns) {
  if (WaitWhile(state, ExportRunning, cancelled_ns + kExportWaitNs)) return true;
  LogWarning("exiting while an export is still finishing; it will not be kept");
  return false;
}

bool RecordingsEnded(ServiceState& state) {
  if (state.engine->GetStatus().recordings_ending == 0) return true;
  LogWarning("exiting while a recording is being ended; the next start goes on with it");
  return false;
}

bool LibraryIsWritten(ServiceState& state) {
  return !state.library_work.IsIdle();
}

bool AnyBackgroundWork(ServiceState& state) {
  return LibraryIsWritten(state) || !state.repair_work.IsIdle();
}

// A repair may be cut off at any time: it is done again.
bool FinishBackgroundWork(ServiceState& state) {
  state.repairs.stop = true;
  if (WaitWhile(state, AnyBackgroundWork, state.clock.SteadyNs() + kBackgroundWaitNs)) return true;
  LogWarning(state.library_work.IsIdle()
                 ? "exiting while a recording is being repaired; the next start goes on with it"
                 : "exiting while the library is being written; its newest lines are not kept");
  return false;
}

void StopExport(ServiceState& state, const char* text) {
  if (!ExportRunning(state)) return;
  LogInfo("%s", text);
  CancelExport(state);
}

}  // namespace

int ExitService(ServiceState& state) {
  StopHangWatch(state);
  StopCrashGuardWatch(state);
  CloseControlChannels(state);
  ReleaseHotkeys(state);
  StopInputOverlay(state);
  StopGameEvents(state);
  FinishEventSave(state);
  const uint64_t cancelled_ns = state.clock.SteadyNs();
  StopExport(state, "exit: stopping the export");
  const bool saves_finished = FinishSaves(state);
  const bool export_finished = FinishExport(state, cancelled_ns);
  state.engine->Stop();
  const bool recordings_ended = RecordingsEnded(state);
  TellFinishedRecordings(state);
  const bool background_finished = FinishBackgroundWork(state);
  LogInfo(
      "exit: clean, after %llu s",
      static_cast<unsigned long long>((state.clock.SteadyNs() - state.started_ns) / kNsPerSecond));
  // A thread that still writes would hold every destructor up.
  if (!saves_finished || !export_finished || !recordings_ended || !background_finished) {
    state.platform.process.EndNow(0);
  }
  PublishService(nullptr);
  return 0;
}

void EndSession(ServiceState& state) {
  const uint64_t began_ns = state.clock.SteadyNs();
  RemoveTrayIcon(state);
  StopHangWatch(state);
  ReleaseHotkeys(state);
  StopExport(state, "signing out: stopping the export");
  FlushEventSave(state);
  (void)WaitWhile(state, SaveInProgress, began_ns + kSignOutSaveWaitNs);
  (void)WaitWhile(state, ExportRunning, began_ns + kSignOutExportWaitNs);
  state.engine->Stop();
  TellFinishedRecordings(state);
  (void)WaitWhile(state, LibraryIsWritten, state.clock.SteadyNs() + kBackgroundWaitNs);
}

}  // namespace orventa
