#include "video/clip_saver.h"

#include <algorithm>
#include <new>
#include <tuple>
#include <utility>

#include "base/files.h"
#include "mp4/failures.h"
#include "mp4/mp4.h"
#include "settings/output_folders.h"
#include "video/timeline_marks.h"

namespace orventa {
namespace {

// The audio encoder trails the picture by a few packets.
constexpr uint64_t kSoundWaitNs = 250 * kNsPerMs;
constexpr uint64_t kSoundPollNs = 10 * kNsPerMs;
// Payloads read to learn a size and kept for the writing, so that the second read
// is saved for short clips while a long one costs no more memory than this.
constexpr uint64_t kReadBudgetBytes = 32U << 20U;

constexpr std::string_view kMonitorName = "Monitor";

// The clip's place on the session timeline.
struct ClipSpan {
  uint64_t first_pts = 0;
  uint64_t last_pts = 0;
  uint64_t end_pts = 0;  // end of the last frame
};

ClipSpan SpanOf(const Mp4Movie& movie) {
  ClipSpan span;
  span.first_pts = movie.packets.front().pts;
  for (const BufferedPacket& packet : movie.packets) {
    span.last_pts = std::max(span.last_pts, packet.pts);
  }
  const uint32_t fps = movie.video.fps_num / std::max(movie.video.fps_den, 1U);
  span.end_pts = span.last_pts + kNsPerSecond / std::max(fps, 1U);
  return span;
}

// Removes an unfinished file on every way out but success.
class UnfinishedFile {
 public:
  explicit UnfinishedFile(std::string path) : path_(std::move(path)) {}
  ~UnfinishedFile() {
    if (!path_.empty()) (void)RemoveFile(path_);
  }
  UnfinishedFile(const UnfinishedFile&) = delete;
  UnfinishedFile& operator=(const UnfinishedFile&) = delete;

  const std::string& path() const { return path_; }
  void Release() { path_.clear(); }

 private:
  std::string path_;
};

std::vector<const SoundHistory*> UsableSound(const ClipSources& sources) {
  std::vector<const SoundHistory*> usable;
  for (const SoundHistory& track : sources.sound) {
    if (track.packets != nullptr && !track.format.config.empty()) usable.push_back(&track);
  }
  return usable;
}

void WaitForSound(const std::vector<const SoundHistory*>& sound, uint64_t end_pts, IClock& clock) {
  const uint64_t deadline = clock.SteadyNs() + kSoundWaitNs;
  const auto trails = [&](const SoundHistory* track) {
    return track->packets->EndTime() < end_pts;
  };
  while (std::any_of(sound.begin(), sound.end(), trails)) {
    const uint64_t now = clock.SteadyNs();
    if (now >= deadline) return;
    clock.SleepUntil(std::min(now + kSoundPollNs, deadline));
  }
}

void AddSound(const ClipSources& sources, const ClipSpan& span, IClock& clock, Mp4Movie& movie) {
  const std::vector<const SoundHistory*> usable = UsableSound(sources);
  WaitForSound(usable, span.end_pts, clock);
  for (const SoundHistory* track : usable) {
    Mp4SoundTrack sound;
    if (!track->packets->Span(span.first_pts, span.end_pts, sound.packets)) continue;
    sound.format = track->format;
    movie.sound.push_back(std::move(sound));
  }
}

void AddWebcam(const ClipSources& sources, const ClipSpan& span, Mp4Movie& movie) {
  if (sources.webcam == nullptr || sources.webcam_history == nullptr) return;
  const std::vector<uint8_t>& header = sources.webcam->sequence_header;
  if (header.empty()) return;
  std::vector<BufferedPacket> packets;
  if (!sources.webcam_history->SnapshotRange(span.first_pts, span.end_pts, packets,
                                             PayloadAccess::Later)) {
    return;
  }
  // Asked after the packets were taken: a camera restarted before that shows now.
  if (sources.webcam_header_in_force && !sources.webcam_header_in_force(header)) return;
  movie.webcam = sources.webcam;
  movie.webcam_packets = std::move(packets);
}

// 0 when no point is known so early.
int64_t WallTimeAt(const TimelineNotes& notes, uint64_t pts) {
  const WallClockPoint* best = nullptr;
  for (const WallClockPoint& point : notes.wall_clock_points()) {
    if (point.pts <= pts && (best == nullptr || point.pts >= best->pts)) best = &point;
  }
  if (best == nullptr) return 0;
  return best->unix_time_ms + static_cast<int64_t>((pts - best->pts) / kNsPerMs);
}

// A system keeps written bytes to itself for half a minute: a power cut in that time would
// leave the name of a clip that was told as saved, and nothing in it.
Status CommitToMedium(const std::string& path) {
  OutputFile file;
  FileResult result = file.Continue(path);
  if (result.ok()) result = file.CommitToMedium();
  return result.ok() ? Status::Ok() : WriteFailure(result);
}

Status WriteAndMove(const Mp4Movie& movie, const std::string& final_path) {
  UnfinishedFile part(final_path + ".part");
  if (Status status = WriteMp4(part.path(), movie); !status.ok()) return status;
  if (Status status = CommitToMedium(part.path()); !status.ok()) return status;
  if (const FileResult moved = MoveReplacing(part.path(), final_path); !moved.ok()) {
    return Status(StatusCode::InvalidArgument,
                  "the clip could not be moved into place: " + moved.Text());
  }
  part.Release();
  return Status::Ok();
}

Status Save(const ClipSources& sources, const KnownFolders& folders, IClock& clock,
            SavedClip& saved) {
  if (sources.no_encoder) {
    return Status(StatusCode::NoEncoder, "no video encoder to record with");
  }
  if (sources.history == nullptr) {
    return Status(StatusCode::InvalidArgument, "engine is not running");
  }
  Mp4Movie movie;
  movie.video = sources.video;
  movie.read_budget = kReadBudgetBytes;
  if (!sources.history->Snapshot(sources.seconds, movie.packets, PayloadAccess::Later)) {
    return Status(StatusCode::InvalidArgument, "no replay held yet");
  }
  const ClipSpan span = SpanOf(movie);
  TimelineMarks marks = MarksBetween(sources.notes, span.first_pts, span.last_pts + 1);
  movie.markers = std::move(marks.markers);
  movie.events = std::move(marks.events);
  if (sources.light_levels) {
    std::tie(movie.video.max_cll, movie.video.max_fall) =
        sources.light_levels(span.first_pts, span.end_pts);
  }
  if (sources.presses) movie.presses = sources.presses(span.first_pts, span.end_pts);
  AddSound(sources, span, clock, movie);
  AddWebcam(sources, span, movie);

  const ClipNaming naming = NameClip(sources, span.first_pts, span.end_pts);
  saved.name = naming.name;
  saved.wall_ms = naming.moment == 0 ? 0 : WallTimeAt(sources.notes, naming.moment - 1);
  OutputPath output;
  const OutputName name{OutputKind::Replay, "mp4", saved.wall_ms, saved.name};
  if (Status status = ResolveOutputPath(sources.config, folders, clock, name, output);
      !status.ok()) {
    return status;
  }
  if (Status status = WriteAndMove(movie, output.path); !status.ok()) return status;
  saved.path = std::move(output.path);
  saved.folder = std::move(output.folder);
  saved.fallback = std::move(output.fallback);
  return Status::Ok();
}

}  // namespace

ClipNaming NameClip(const ClipSources& sources, uint64_t first_pts, uint64_t end_pts) {
  constexpr uint64_t kWindowBonus = INT64_MAX;  // beats any length of time
  const auto& periods = sources.notes.periods();
  const TargetPeriod* winner = nullptr;
  uint64_t best = 0;
  uint64_t moment = end_pts;
  for (size_t i = 0; i < periods.size(); ++i) {
    const uint64_t from = std::max(periods[i].start_pts, first_pts);
    const uint64_t to =
        i + 1 < periods.size() ? std::min(end_pts, periods[i + 1].start_pts) : end_pts;
    if (to <= from) continue;
    const uint64_t score = (to - from) + (periods[i].is_window ? kWindowBonus : 0);
    if (score <= best) continue;
    best = score;
    winner = &periods[i];
    moment = to;
  }
  ClipNaming naming;
  naming.moment = moment;
  const bool is_window = winner != nullptr ? winner->is_window : sources.target_is_window;
  naming.name = winner != nullptr ? winner->name : sources.target_name;
  naming.title = winner != nullptr ? winner->title : sources.target_title;
  if (!is_window) naming.name = kMonitorName;
  if (!sources.config.storage.folder_per_game) naming.name.clear();
  return naming;
}

Status SaveClip(const ClipSources& sources, const KnownFolders& folders, IClock& clock,
                SavedClip& saved) {
  saved = {};
  try {
    return Save(sources, folders, clock, saved);
  } catch (const std::bad_alloc&) {
    return Status(StatusCode::DriverError, "there was not enough memory to save the replay");
  } catch (...) {
    return Status(StatusCode::DriverError, "the replay could not be saved");
  }
}

}  // namespace orventa
