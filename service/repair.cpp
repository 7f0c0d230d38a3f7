#include "service/repair.h"

#include <algorithm>
#include <utility>

#include "base/files.h"
#include "base/log.h"
#include "base/text.h"
#include "service/library_lines.h"
#include "service/service_state.h"
#include "service/unfinished_saves.h"
#include "service/verbs.h"
#include "settings/output_folders.h"
#include "settings/schema.h"

namespace orventa {
namespace {

constexpr uint64_t kPassPeriodNs = 60 * kNsPerSecond;
// How FinishInterrupted says that it may be another time's work.
constexpr std::string_view kStillBeingWritten = "still being written";
// How it says that there is nothing to do. A recording whose drive came to life again
// may have been ended after all.
constexpr std::string_view kAlreadyFinished = "already finished";
constexpr uint64_t kVerbLimitNs = 20 * kNsPerSecond;

bool IsVideo(std::string_view name) {
  return name.size() > 4 && EqualsIgnoreCase(name.substr(name.size() - 4), ".mp4");
}

// The folders of recordings: those of the settings and of each game's own.
std::set<std::string> RecordingFolders(ServiceState& state) {
  const Config config = CopyConfig(state);
  std::set<std::string> folders;
  const auto add = [&](const Config& with) {
    for (std::string& folder : FoldersOfOutput(with, state.platform.folders, OutputKind::Recording,
                                               GameFolders::Always)) {
      folders.insert(std::move(folder));
    }
  };
  add(config);
  for (const CaptureTargetEntry& entry : CopyGameList(state).entries) {
    if (entry.settings.empty()) continue;
    Config of_game = config;
    for (const auto& [key, value] : entry.settings) {
      if (IsKnownKey(key)) ApplySetting(of_game, key, value);
    }
    if (of_game.storage.recording.directory != config.storage.recording.directory) add(of_game);
  }
  return folders;
}

// One pass, on the thread of the repair work.
class Pass {
 public:
  Pass(ServiceState& state, std::vector<std::string> waiting)
      : state_(state), repairs_(state.repairs), waited_(std::move(waiting)) {}

  RepairFindings Run() {
    for (const std::string& path : waited_) Try(path, true);
    for (const std::string& folder : RecordingFolders(state_)) {
      std::vector<std::string> names;
      (void)ListFiles(folder, names);  // a drive may be away
      for (const std::string& name : names) {
        if (IsVideo(name)) Try(JoinPath(folder, name), false);
      }
    }
    return std::move(findings_);
  }

 private:
  void Try(const std::string& path, bool waited) {
    if (repairs_.stop || tried_.contains(path)) return;
    if (!waited && repairs_.settled.contains(path)) return;
    const EngineSnapshot snapshot = state_.engine->GetStatus();
    if (snapshot.recording && snapshot.recording_path == path) return;
    tried_.insert(path);
    Note(path, waited, state_.platform.finish_interrupted(path));
  }

  void Note(const std::string& path, bool waited, const Status& status) {
    if (status.ok()) {
      LogInfo("finished an interrupted recording: %s", path.c_str());
      findings_.repaired.push_back(path);
    }
    if (status.ok() || (waited && status.message() == kAlreadyFinished)) {
      RecordFoundInLibrary(state_, path, WrittenKind::Recording);
    }
    if (status.ok() || status.code() == StatusCode::InvalidArgument) {
      repairs_.settled.insert(path);
      repairs_.told.erase(path);
      return;
    }
    const bool being_written = status.message() == kStillBeingWritten;
    if (being_written || status.code() == StatusCode::DriveFull || (waited && MayComeBack(path))) {
      findings_.waiting.push_back(path);
    }
    if (!being_written &&
        std::exchange(repairs_.told[path], status.message()) != status.message()) {
      LogWarning("repair: %s: %s", path.c_str(), status.ToString().c_str());
    }
  }

  // A file that is gone from a folder that is there was deleted.
  static bool MayComeBack(const std::string& path) {
    return FileExists(path) || !FolderExists(ParentFolder(path));
  }

  ServiceState& state_;
  RepairState& repairs_;
  const std::vector<std::string> waited_;
  std::set<std::string> tried_;
  RepairFindings findings_;
};

enum class AfterPass { Nothing, RemoveUnfinishedSaves };

void BeginPass(ServiceState& state, AfterPass after) {
  RepairState& repairs = state.repairs;
  repairs.pass_began_ns = state.clock.SteadyNs();
  std::vector<std::string> waiting = std::exchange(repairs.waiting, {});
  repairs.pass_runs = state.repair_work.Post([&state, waiting = std::move(waiting), after] {
    auto findings = std::make_unique<RepairFindings>();
    try {
      *findings = Pass(state, waiting).Run();
      if (after == AfterPass::RemoveUnfinishedSaves) RemoveUnfinishedSaves(state);
    } catch (const std::exception& error) {
      LogError("repair: %s", error.what());
      findings->waiting = waiting;
    }
    (void)state.loop->Post(
        {static_cast<uint32_t>(ServiceMessage::RepairEnded), 0, std::move(findings)});
  });
}

void TellRepaired(ServiceState& state, const std::vector<std::string>& repaired) {
  if (repaired.empty()) return;
  state.saves.files_written += static_cast<uint32_t>(repaired.size());
  ShowNotification(
      state, NoticeKind::Recording,
      repaired.size() == 1
          ? "A recording that was interrupted has been repaired and is in your library."
          : "Recordings that were interrupted have been repaired and are in your library.",
      {}, repaired.size() == 1 ? repaired.front() : std::string());
}

// On the thread of the repair work. Ok also for a file with nothing to repair.
Status RepairAsked(ServiceState& state, const std::string& path) {
  const Status status = state.platform.finish_interrupted(path);
  const bool ordinary = status.code() == StatusCode::InvalidArgument;
  if (!status.ok() && !ordinary) {
    LogWarning("repair: %s", status.ToString().c_str());
    return status;
  }
  if (status.ok()) LogInfo("finished an interrupted recording: %s", path.c_str());
  // Not whatever file there is: the library is one of videos.
  if (status.ok() || IsVideo(path)) RecordFoundInLibrary(state, path, WrittenKind::Recording);
  if (status.ok()) state.saves.files_written++;
  return Status::Ok();
}

}  // namespace

void RepairRecordings(ServiceState& state) {
  BeginPass(state, AfterPass::RemoveUnfinishedSaves);
}

void StartRepairPass(ServiceState& state) {
  if (state.repairs.pass_runs) {
    state.repairs.pass_wanted = true;
  } else {
    BeginPass(state, AfterPass::Nothing);
  }
}

void RepairAgainWhenDue(ServiceState& state) {
  const RepairState& repairs = state.repairs;
  if (repairs.waiting.empty() || repairs.pass_runs) return;
  if (state.clock.SteadyNs() - repairs.pass_began_ns < kPassPeriodNs) return;
  BeginPass(state, AfterPass::Nothing);
}

void OnRepairEnded(ServiceState& state, const RepairFindings& findings) {
  RepairState& repairs = state.repairs;
  repairs.pass_runs = false;
  repairs.waiting.insert(repairs.waiting.end(), findings.waiting.begin(), findings.waiting.end());
  TellRepaired(state, findings.repaired);
  if (std::exchange(repairs.pass_wanted, false)) BeginPass(state, AfterPass::Nothing);
}

std::string RepairRecording(ServiceState& state, const ChannelRequest& request) {
  const std::string path(Trim(request.body));
  if (path.empty()) {
    return ErrorAnswer({StatusCode::InvalidArgument, "REPAIR_RECORDING needs a path"});
  }
  const auto status = std::make_shared<Status>();
  const bool done =
      state.repair_work.RunUntil(state.clock.SteadyNs() + kVerbLimitNs,
                                 [&state, path, status] { *status = RepairAsked(state, path); });
  if (!done) return ErrorAnswer({StatusCode::DriverError, "the repair is still running"});
  return status->ok() ? "OK" : ErrorAnswer(*status);
}

}  // namespace orventa
