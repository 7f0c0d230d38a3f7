#include "service/saving.h"

#include <exception>
#include <memory>
#include <new>
#include <optional>
#include <utility>

#include "base/files.h"
#include "base/log.h"
#include "service/event_save.h"
#include "service/later.h"
#include "service/library_lines.h"
#include "service/service_state.h"
#include "settings/output_folders.h"

namespace orventa {
namespace {

constexpr char kSavingReason[] = "Saving a replay";
// A drive with less than this cannot take the shortest clip.
constexpr uint64_t kShortDriveBytes = 16U << 20U;

const char* SaveWord(bool is_clip) {
  return is_clip ? "clip" : "save";
}

// Everything that leaves the engine as an exception becomes a Status here: the
// thread must end in an answer.
Status SaveCatchingAll(ReplayEngine& engine, uint32_t seconds, std::string& path) {
  try {
    return engine.SaveReplay(seconds, path);
  } catch (const std::bad_alloc&) {
    return {StatusCode::OutOfMemory, "the replay could not be saved"};
  } catch (...) {
    return {static_cast<StatusCode>(UINT32_MAX), "the replay could not be saved"};
  }
}

// The folder's own name; for a file right under a root, the root.
std::string FolderName(const std::string& path) {
  const std::string_view folder = ParentFolder(path);
  const std::string_view name = FileName(folder);
  return std::string(name.empty() ? folder : name);
}

bool DriveIsShort(ServiceState& state) {
  const Config config = CopyConfig(state);
  const std::string& chosen = config.storage.Of(OutputKind::Replay).directory;
  const std::string folder =
      chosen.empty() ? DefaultOutputFolder(state.platform.folders, OutputKind::Replay) : chosen;
  const std::optional<uint64_t> free_bytes = FreeSpace(folder);
  return free_bytes && *free_bytes < kShortDriveBytes;
}

void KeepSaved(ServiceState& state, const std::string& path, bool is_clip) {
  RecordInLibrary(state, path, is_clip ? WrittenKind::Clip : WrittenKind::Replay);
  LinkFinishedMatch(state, path);
  state.saves.saves_done++;
  state.saves.files_written++;
  LogInfo("save: %s", path.c_str());
}

std::string TellFailed(ServiceState& state, Status status, const EngineSnapshot& before) {
  state.saves.saves_failed++;
  LogError("save failed: %s", status.ToString().c_str());
  FailedSave failed;
  failed.status = std::move(status);
  failed.paused = before.paused;
  failed.no_target = before.no_target;
  failed.drive_short = DriveIsShort(state);
  return std::string(FailedSaveText(failed));
}

// The save thread.
void WriteSave(ServiceState& state, SaveRequest request, const EngineSnapshot& before) {
  std::string path;
  Status status = SaveCatchingAll(*state.engine, request.seconds, path);
  const bool success = status.ok();
  std::string message;  // a saved file speaks for itself
  if (success) {
    KeepSaved(state, path, request.is_clip);
  } else {
    message = TellFailed(state, std::move(status), before);
  }
  {
    const MutexLock lock(state.saves.lock);
    state.saves.last_save_message = std::move(message);
    state.saves.last_save_folder = success ? FolderName(path) : std::string();
    if (success) state.saves.last_saved_path = path;
    state.saves.last_is_clip = request.is_clip;
    state.saves.saving = false;
  }
  (void)state.loop->Post({static_cast<uint32_t>(ServiceMessage::SaveEnded), success ? 1U : 0U, {}});
}

// False: a save is being written and the request waits behind it.
bool TakeSavingSlot(SavingState& saves, SaveRequest request) {
  bool replaced = false;
  {
    const MutexLock lock(saves.lock);
    if (!saves.saving) {
      saves.saving = true;
      return true;
    }
    replaced = saves.waiting.has_value();
    saves.waiting = request;
  }
  LogInfo("%s waits for the save being written%s", SaveWord(request.is_clip),
          replaced ? ", in place of the one waiting" : "");
  return false;
}

void StartSave(ServiceState& state, SaveRequest request) {
  SetShutdownBlock(state, true);
  state.saves.saves_begun++;
  try {
    // Frees the thread of the save before, which has nothing left to do.
    state.save_thread.reset();
    state.save_thread = state.clock.StartThread(
        "save", ThreadPriority::Background, [&state, request, before = state.engine->GetStatus()] {
          WriteSave(state, request, before);
        });
  } catch (const std::exception& error) {
    LogError("save failed: %s", error.what());
    state.saves.saves_failed++;
    {
      const MutexLock lock(state.saves.lock);
      state.saves.saving = false;
    }
    SetShutdownBlock(state, false);
  }
}

bool IsSaving(SavingState& saves) {
  const MutexLock lock(saves.lock);
  return saves.saving;
}

std::optional<SaveRequest> TakeWaiting(SavingState& saves) {
  const MutexLock lock(saves.lock);
  if (saves.saving) return std::nullopt;
  return std::exchange(saves.waiting, std::nullopt);
}

void TellSaveEnded(ServiceState& state, bool success) {
  std::string message;
  std::string folder;
  std::string path;
  bool is_clip = false;
  {
    const MutexLock lock(state.saves.lock);
    message = state.saves.last_save_message;
    folder = state.saves.last_save_folder;
    path = state.saves.last_saved_path;
    is_clip = state.saves.last_is_clip;
  }
  std::string text = folder.empty() ? std::string() : "in " + folder;
  if (!text.empty() && !message.empty()) text += ' ';
  text += message;
  if (!success) {
    ShowNotification(state, NoticeKind::ReplayFailed,
                     is_clip ? "Clip not saved" : "Replay not saved", text);
    return;
  }
  const EngineSnapshot snapshot = state.engine->GetStatus();
  const bool fell_back = !snapshot.saved_elsewhere.empty() &&
                         path.starts_with(snapshot.saved_elsewhere) &&
                         !snapshot.saved_elsewhere_reason.empty();
  ShowNotification(state, NoticeKind::ReplaySaved, is_clip ? "Clip saved" : "Replay saved",
                   fell_back ? snapshot.saved_elsewhere_reason : text, path);
}

std::string_view NothingToSaveText(const FailedSave& failed) {
  if (failed.paused) return "The replay is stopped, so there is nothing to save.";
  if (failed.no_target) {
    return "Nothing to save yet. ORVENTA keeps a replay once a game on the game list is open.";
  }
  return "Nothing to save yet.";
}

}  // namespace

void RequestSave(ServiceState& state, uint32_t seconds, bool is_clip) {
  if (!state.engine || !state.engine->IsRunning()) {
    state.saves.saves_failed++;
    return;
  }
  if (state.engine->HasNoEncoder()) {
    LogWarning("refused: no video encoder to record with");
    ShowNotification(state, NoticeKind::Problem, "No video encoder to record with");
    state.saves.saves_failed++;
    return;
  }
  LogInfo("%s requested", SaveWord(is_clip));
  const SaveRequest request{seconds, is_clip};
  if (TakeSavingSlot(state.saves, request)) StartSave(state, request);
}

bool SaveInProgress(ServiceState& state) {
  if (const std::optional<SaveRequest> waiting = TakeWaiting(state.saves)) {
    RequestSave(state, waiting->seconds, waiting->is_clip);
  }
  return IsSaving(state.saves);
}

void OnSaveEnded(ServiceState& state, bool success) {
  if (!IsSaving(state.saves)) SetShutdownBlock(state, false);
  TellSaveEnded(state, success);
  if (const std::optional<SaveRequest> waiting = TakeWaiting(state.saves)) {
    RequestSave(state, waiting->seconds, waiting->is_clip);
  }
  FlushQuietEventSave(state);
}

std::string_view FailedSaveText(const FailedSave& failed) {
  const std::string& said = failed.status.message();
  const auto holds = [&said](std::string_view part) {
    return said.find(part) != std::string::npos;
  };
  if (said == "no replay held yet" || said == "engine is not running") {
    return NothingToSaveText(failed);
  }
  if (said == "there was not enough memory to save the replay") {
    return "There was not enough memory to save the replay.";
  }
  if (said == "the replay could not be read back from the drive") {
    return "The replay could not be read back from the drive.";
  }
  if (failed.status.code() == StatusCode::DriveFull || failed.drive_short) {
    return "The drive is full. Free up some space and save again.";
  }
  if (holds("no writable output directory") || holds("cannot open") ||
      holds("the clip could not be moved into place")) {
    return "The folder could not be written to. Check the drive is connected and has space.";
  }
  return "The replay could not be saved.";
}

void SetShutdownBlock(ServiceState& state, bool raised) {
  if (raised) {
    state.platform.desktop.RaiseShutdownBlock(kSavingReason);
  } else {
    state.platform.desktop.LowerShutdownBlock();
  }
}

}  // namespace orventa
