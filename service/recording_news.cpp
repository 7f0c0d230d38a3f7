#include "service/recording_news.h"

#include <string>

#include "base/files.h"
#include "base/log.h"
#include "service/library_lines.h"
#include "service/repair.h"
#include "service/service_state.h"

namespace orventa {
namespace {

void TellSaved(ServiceState& state, const FinishedRecording& finished) {
  LogInfo("recording saved: %s", finished.path.c_str());
  {
    const MutexLock lock(state.saves.lock);
    state.saves.last_saved_path = finished.path;
  }
  // Who sees the count rise finds the file in the library.
  (void)state.library_work.Post([&state, path = finished.path] {
    RecordInLibrary(state, path, WrittenKind::Recording);
    state.saves.files_written++;
  });
  ShowNotification(
      state, NoticeKind::Recording, "Recording saved",
      finished.fallback.empty() ? std::string(FileName(finished.path)) : finished.fallback,
      finished.path);
}

void TellFailed(ServiceState& state, const FinishedRecording& finished) {
  LogError("recording failed: %s: %s", finished.path.c_str(), finished.result.ToString().c_str());
  if (finished.result.code() == StatusCode::InvalidArgument) {
    ShowNotification(state, NoticeKind::Problem, "Nothing was recorded.");
    return;
  }
  ShowNotification(state, NoticeKind::Problem,
                   "The recording stopped because its drive could not be written to. "
                   "Check the drive is connected and has space.");
  state.repairs.waiting.push_back(finished.path);
}

}  // namespace

void WatchRecordings(ServiceState& state) {
  TellFinishedRecordings(state);
  RepairAgainWhenDue(state);
}

void TellFinishedRecordings(ServiceState& state) {
  const auto all = state.engine->GetStatus().finished_recordings;
  if (!all) return;
  for (const FinishedRecording& finished : *all) {
    if (finished.number <= state.seen.finished_recording) continue;
    state.seen.finished_recording = finished.number;
    if (finished.result.ok()) {
      TellSaved(state, finished);
    } else {
      TellFailed(state, finished);
    }
  }
}

}  // namespace orventa
