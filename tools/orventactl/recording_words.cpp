#include "tools/orventactl/recording_words.h"

#include <algorithm>
#include <filesystem>
#include <memory>
#include <optional>
#include <ostream>
#include <vector>

#include "base/clock.h"
#include "base/files.h"
#include "base/text.h"
#include "library/library.h"
#include "mp4/repair.h"
#include "settings/config_file.h"
#include "tools/orventactl/service_call.h"

namespace orventa {
namespace {

// The service tells nothing by itself: it is asked again and again.
constexpr uint64_t kAskEveryNs = 50 * kNsPerMs;
// A recording begins once it is known in what range the game draws, and ends once its
// last second is on the drive.
constexpr uint64_t kBeginLimitNs = 15 * kNsPerSecond;
constexpr uint64_t kEndLimitNs = 30 * kNsPerSecond;

struct RecordingStats {
  bool recording = false;
  std::string path;
  uint64_t notice_seq = 0;
  bool notice_warning = false;
  std::string notice;
  uint64_t written_seq = 0;
};

ServiceAnswer AskStats(RecordingStats& stats) {
  ServiceAnswer answer = AskService("STATS");
  if (answer.exit_code != kExitOk) return answer;
  stats.recording = ValueOf(answer.data, "recording") == "1";
  stats.path = ValueOf(answer.data, "recording_path");
  stats.notice_seq = ParseUnsigned(ValueOf(answer.data, "notice_seq")).value_or(0);
  stats.notice_warning = ValueOf(answer.data, "notice_warning") == "1";
  stats.notice = ValueOf(answer.data, "notice");
  stats.written_seq = ParseUnsigned(ValueOf(answer.data, "written_seq")).value_or(0);
  return answer;
}

bool Warned(const RecordingStats& before, const RecordingStats& now) {
  return now.notice_seq > before.notice_seq && now.notice_warning;
}

// Where a service writes it down.
Library OpenLibrary(IClock& clock) {
  const std::string settings = ConfigPath(FindKnownFolders());
  return Library(clock, JoinPath(ParentFolder(settings), "written.ini"));
}

// The count of files may have risen for a clip. The notice may be a clip's by now, too,
// and the library takes not every path.
bool IsSaved(IClock& clock, const RecordingStats& before, const RecordingStats& now,
             const std::string& path) {
  if (now.recording || now.written_seq == before.written_seq) return false;
  if (now.notice_seq > before.notice_seq && now.notice.starts_with("Recording saved")) return true;
  std::vector<WrittenFact> facts;
  const WrittenFact fact{std::string(WrittenKindWord(WrittenKind::Recording)), path};
  return OpenLibrary(clock).Read(facts).ok() &&
         std::find(facts.begin(), facts.end(), fact) != facts.end();
}

// Whether it is known what came of the toggle.
bool IsSettled(IClock& clock, const RecordingStats& before, const RecordingStats& now,
               const std::string& path) {
  if (Warned(before, now)) return true;
  if (!before.recording) return now.recording && !now.path.empty();
  return IsSaved(clock, before, now, path);
}

int TellRecord(const RecordingStats& before, const RecordingStats& now, bool settled,
               const std::string& path, std::ostream& out, std::ostream& errors) {
  if (settled && !Warned(before, now)) {
    out << (now.recording ? "recording: " : "recording saved: ") << path << "\n";
    return kExitOk;
  }
  if (settled) {
    errors << "orventactl: " << now.notice << "\n";
  } else if (before.recording) {
    errors << "orventactl: the recording is still being finished: " << path << "\n";
  } else {
    errors << "orventactl: the recording has not begun yet\n";
  }
  return kExitFailed;
}

std::string AbsolutePath(const std::string& file) {
  std::error_code error;
  const std::filesystem::path path(std::u8string(file.begin(), file.end()));
  const std::u8string whole = std::filesystem::absolute(path, error).u8string();
  return error ? file : std::string(whole.begin(), whole.end());
}

int TellRepaired(const std::string& path, std::ostream& out) {
  out << "finished an interrupted recording: " << path << "\n";
  return kExitOk;
}

void AddToLibrary(const std::string& path, std::ostream& errors) {
  const std::unique_ptr<IClock> clock = MakeSystemClock();
  const Status status = OpenLibrary(*clock).AddFound(path, WrittenKind::Recording);
  if (!status.ok()) errors << "orventactl: not in the library: " << status.message() << "\n";
}

}  // namespace

int RunRecord(std::ostream& out, std::ostream& errors) {
  RecordingStats before;
  if (const int code = Report(AskStats(before), errors); code != kExitOk) return code;
  if (const int code = Report(AskService("TOGGLE_RECORDING"), errors); code != kExitOk) return code;

  const std::unique_ptr<IClock> clock = MakeSystemClock();
  const uint64_t deadline_ns = clock->SteadyNs() + (before.recording ? kEndLimitNs : kBeginLimitNs);
  std::string path = before.path;
  for (;;) {
    RecordingStats now;
    if (const int code = Report(AskStats(now), errors); code != kExitOk) return code;
    if (now.recording && !now.path.empty()) path = now.path;  // it may go on in another file
    const bool settled = IsSettled(*clock, before, now, path);
    if (settled || clock->SteadyNs() >= deadline_ns) {
      return TellRecord(before, now, settled, path, out, errors);
    }
    clock->SleepUntil(clock->SteadyNs() + kAskEveryNs);
  }
}

int RunRepair(const std::string& file, std::ostream& out, std::ostream& errors) {
  const std::string path = AbsolutePath(file);
  const std::optional<uint64_t> before = LastWriteStamp(path);
  const ServiceAnswer answer = AskService("REPAIR_RECORDING\n" + path);
  if (answer.exit_code == kExitFailed) return Report(answer, errors);
  if (answer.exit_code == kExitOk && LastWriteStamp(path) != before) return TellRepaired(path, out);

  // Nobody is there to do it; or the service found nothing to repair, and this says why.
  const Status status = FinishInterrupted(path);
  if (!status.ok()) {
    errors << "orventactl: " << path << ": " << status.message() << "\n";
    return kExitFailed;
  }
  if (answer.exit_code != kExitOk) AddToLibrary(path, errors);
  return TellRepaired(path, out);
}

}  // namespace orventa
