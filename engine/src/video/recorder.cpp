#include "video/recorder.h"

#include <algorithm>
#include <utility>

#include "base/log.h"
#include "video/encoder_choice.h"
#include "video/pipeline.h"

namespace orventa {
namespace {

// What a stop waits for the tracks to come as far as it.
constexpr uint64_t kStopWaitNs = kNsPerSecond;
// A recording begins no sooner in an HDR range that is still in doubt, and no later
// than this.
constexpr uint64_t kUndecidedAtMostNs = 10 * kNsPerSecond;
// A recording goes on after a failure of its pipeline unless that has just happened.
constexpr uint64_t kFailsSeldomNs = 30 * kNsPerSecond;
// What the engine's end waits for files that are being ended.
constexpr uint64_t kFinishWaitNs = 15 * kNsPerSecond;
// Files told of in the status; the service looks every second.
constexpr size_t kToldAtMost = 16;

constexpr std::string_view kMonitorName = "Monitor";

Status NothingRecorded(StatusCode code) {
  return {code, "nothing was recorded"};
}

// InvalidArgument is kept for recordings that nothing came for.
Status NoFolder(const Status& status) {
  const bool taken = status.code() == StatusCode::InvalidArgument;
  return {taken ? StatusCode::DriverError : status.code(), status.message()};
}

}  // namespace

Config::Video PictureOfRecording(const Config& config) {
  return config.recording_use_video_settings ? config.video : config.recording;
}

Recorder::Recorder(const EnginePlatform& platform, const KnownFolders& folders,
                   EngineOrders& orders, SessionState& session, StatusBoard& status)
    : clock_(platform.clock),
      targets_(platform.targets),
      drive_(platform.drive != nullptr ? *platform.drive : MachineRecordingDrive()),
      folders_(folders),
      orders_(orders),
      session_(session),
      status_(status) {}

Status Recorder::Start(uint64_t current_window, std::string& path) {
  if (Wanted()) return {StatusCode::InvalidArgument, "already recording"};
  FoundTarget target;
  if (Status status = targets_.Find(current_window, target); !status.ok()) return status;
  return Want(Begun::ByUser, target, path);
}

Status Recorder::Stop(std::string& path) {
  const MutexLock lock(mutex_);
  if (!orders_.recording_wanted.exchange(false)) {
    return {StatusCode::InvalidArgument, "not recording"};
  }
  if (wish_.last_path.empty()) return NothingRecorded(StatusCode::NoTarget);
  path = wish_.last_path;
  return {};
}

Status Recorder::Want(Begun begun, const FoundTarget& target, std::string& path) {
  Place place;
  if (Status status = Resolve(session_.EffectiveFor(target.settings), target, place);
      !status.ok()) {
    return status;
  }
  {
    const MutexLock lock(mutex_);
    if (Wanted()) return {StatusCode::InvalidArgument, "already recording"};
    path = place.output.path;
    const uint32_t id = wish_.id + 1;
    wish_ = Wish();
    wish_.id = id;
    wish_.begun = begun;
    wish_.place = std::move(place);
    orders_.recording_wanted = true;
  }
  orders_.Set(orders_.recording_wanted, true);
  return {};
}

Status Recorder::Resolve(const Config& config, const FoundTarget& target, Place& place) const {
  place.name = target.IsWindow() ? target.name : kMonitorName;
  return ResolveOutputPath(config, folders_, clock_, {OutputKind::Recording, "mp4", 0, place.name},
                           place.output);
}

void Recorder::Fill(EngineSnapshot& snapshot) const {
  const MutexLock lock(mutex_);
  snapshot.recordings_saved = saved_;
  snapshot.recordings_failed = failed_;
  snapshot.finished_recordings = finished_;
  snapshot.recordings_ending = ending_count_;
  snapshot.recording = Wanted() || shared_ != nullptr;
  if (!snapshot.recording) return;
  uint64_t elapsed_ns = wish_.elapsed_ns;
  snapshot.recording_bytes = wish_.bytes;
  if (shared_ != nullptr && shared_->plan().id == wish_.id) {
    elapsed_ns += shared_->ElapsedNs();
    snapshot.recording_bytes += shared_->Bytes();
  }
  snapshot.recording_seconds = static_cast<double>(elapsed_ns) / 1e9;
  snapshot.recording_path = wish_.last_path.empty() ? wish_.place.output.path : wish_.last_path;
}

void Recorder::TakeVideo(const EncodedPacket& packet) {
  std::shared_ptr<ActiveRecording> recording;
  {
    const MutexLock lock(mutex_);
    recording = shared_;
  }
  if (recording != nullptr) recording->TakeVideo(packet);
}

void Recorder::Take(size_t track, const EncodedPacket& packet, uint64_t duration_ns) {
  if (newest_sound_.size() <= track) newest_sound_.resize(track + 1);
  newest_sound_[track] = {packet, duration_ns};
  if (current_ != nullptr) current_->TakeSound(track, packet, duration_ns);
}

bool Recorder::HoldsTarget() const {
  const MutexLock lock(mutex_);
  if (Wanted()) return wish_.begun == Begun::ByUser;
  return shared_ != nullptr && !shared_->plan().automatic;
}

void Recorder::NoteTarget(const FoundTarget* target) {
  if (recorded_by_itself_ && (target == nullptr || target->target != *recorded_by_itself_)) {
    recorded_by_itself_.reset();
  }
  if (target == nullptr || !target->record_session || recorded_by_itself_ || Wanted()) return;
  if (orders_.paused && !session_.EffectiveFor(target->settings).service.record_while_paused) {
    return;
  }
  recorded_by_itself_ = target->target;
  std::string path;
  const Status status = Want(Begun::ByItself, *target, path);
  if (status.ok()) {
    LogInfo("recording %s by itself: %s", target->name.c_str(), path.c_str());
    return;
  }
  TellWithout(NoFolder(status), target->name);
}

void Recorder::PipelineBegins(const Pipeline& pipeline) {
  pipeline_begun_ns_ = clock_.SteadyNs();
  if (std::vector<Mp4AudioTrack> formats = pipeline.sound->Formats(); formats != sound_formats_) {
    sound_formats_ = std::move(formats);
    newest_sound_.clear();
  }
  uint32_t id = 0;
  {
    const MutexLock lock(mutex_);
    if (!Wanted() || !wish_.place.output.path.empty()) return;
    id = wish_.id;
  }
  Place place;
  if (Status status = Resolve(pipeline.config, pipeline.target, place); !status.ok()) {
    Unwant(id);
    return TellWithout(NoFolder(status), pipeline.target.name);
  }
  const MutexLock lock(mutex_);
  if (wish_.id == id) wish_.place = std::move(place);
}

Recorder::Steering Recorder::Steer(const Pipeline& pipeline, uint64_t next_pts, bool undecided) {
  if (!ending_.empty()) Reap();
  if (current_ != nullptr) {
    SteerOpen(next_pts);
    return Steering::GoOn;
  }
  if (!Wanted()) return pipeline.for_recording ? Steering::Rebuild : Steering::GoOn;
  if (undecided && clock_.SteadyNs() - pipeline_begun_ns_ < kUndecidedAtMostNs) {
    return Steering::GoOn;
  }
  return Open(pipeline, next_pts);
}

Recorder::Steering Recorder::Open(const Pipeline& pipeline, uint64_t next_pts) {
  Config config = session_.Effective();
  config.video = PictureOfRecording(config);
  if (ChooseEncoderSettings(config, pipeline.source, pipeline.display) !=
      ChooseEncoderSettings(pipeline.config, pipeline.source, pipeline.display)) {
    return Steering::Rebuild;
  }
  Wish wish;
  {
    const MutexLock lock(mutex_);
    if (!Wanted()) return Steering::GoOn;
    // Whoever ends it from here on is told of this file.
    wish_.last_path = wish_.place.output.path;
    wish = wish_;
  }
  ActiveRecording::Plan plan{.id = wish.id,
                             .automatic = wish.begun == Begun::ByItself,
                             .path = wish.place.output.path,
                             .started_at = next_pts,
                             .video = session_.video(),
                             .sound = pipeline.sound->Formats()};
  session_.HoldNotes(next_pts);
  auto recording = std::make_shared<ActiveRecording>(
      clock_, drive_, std::move(plan),
      [this](uint64_t from_pts, uint64_t to_pts) { return session_.Marks(from_pts, to_pts); },
      [this, place = wish.place, next_pts](const Status& result) {
        session_.LetGoOfNotes(next_pts);
        Publish({.result = result,
                 .path = place.output.path,
                 .name = place.name,
                 .folder = place.output.folder,
                 .fallback = place.output.fallback});
      });
  for (size_t track = 0; track < newest_sound_.size(); ++track) {
    recording->TakeSound(track, newest_sound_[track].packet, newest_sound_[track].duration_ns);
  }
  {
    const MutexLock lock(mutex_);
    shared_ = recording;
  }
  current_ = std::move(recording);
  stop_asked_ns_.reset();
  status_.Update([](EngineSnapshot& record) { record.drive_nearly_full = false; });
  return Steering::ForceKeyframe;
}

void Recorder::SteerOpen(uint64_t next_pts) {
  ActiveRecording& recording = *current_;
  if (recording.Failed()) {
    // The replay goes on: it has no part in what the drive does.
    status_.SetError(recording.FirstError());
    Unwant(recording.plan().id);
    return HandOver(next_pts);
  }
  const bool wanted = StillWanted(recording);
  if (wanted && recording.DriveNearlyFull()) {
    Unwant(recording.plan().id);
    status_.Update([](EngineSnapshot& record) { record.drive_nearly_full = true; });
  }
  const uint64_t now_ns = clock_.SteadyNs();
  if (!stop_asked_ns_) {
    if (wanted && Wanted()) return;
    recording.StopAt(next_pts);
    stop_asked_ns_ = now_ns;
  }
  if (recording.ReachedStop() || now_ns - *stop_asked_ns_ >= kStopWaitNs) HandOver(next_pts);
}

void Recorder::PipelineEnded(PipelineEnd end, uint64_t next_pts) {
  if (current_ == nullptr) return;
  const std::shared_ptr<ActiveRecording> recording = current_;
  const bool wanted = StillWanted(*recording);
  HandOver(next_pts);
  if (recording->Failed()) status_.SetError(recording->FirstError());
  if (!wanted) return;
  if (recording->plan().automatic || !GoesOn(end, *recording)) {
    return Unwant(recording->plan().id);
  }
  const MutexLock lock(mutex_);
  wish_.elapsed_ns += recording->ElapsedNs();
  wish_.bytes += recording->Bytes();
  wish_.place = {};  // the next pipeline's target names the next file
}

bool Recorder::GoesOn(PipelineEnd end, const ActiveRecording& recording) {
  if (orders_.stop_requested || recording.Failed() || recording.DriveNearlyFull()) return false;
  if (end != PipelineEnd::Failed) return end == PipelineEnd::Switched;
  const uint64_t now_ns = clock_.SteadyNs();
  const auto before = std::exchange(outlived_failure_ns_, now_ns);
  return !before || now_ns - *before >= kFailsSeldomNs;
}

void Recorder::GiveUp() {
  {
    const MutexLock lock(mutex_);
    if (!orders_.recording_wanted.exchange(false)) return;
    if (!wish_.last_path.empty() || wish_.begun == Begun::ByItself) return;
  }
  TellWithout(NothingRecorded(StatusCode::InvalidArgument), {});
}

void Recorder::FinishAll() {
  const uint64_t deadline_ns = clock_.SteadyNs() + kFinishWaitNs;
  for (const auto& recording : ending_) recording->WaitUntilDone(deadline_ns);
  Reap();
}

bool Recorder::StillWanted(const ActiveRecording& recording) const {
  const MutexLock lock(mutex_);
  return Wanted() && wish_.id == recording.plan().id;
}

void Recorder::Unwant(uint32_t id) {
  const MutexLock lock(mutex_);
  if (wish_.id == id) orders_.recording_wanted = false;
}

// What was wanted ends with no file that tells of it.
void Recorder::TellWithout(Status status, std::string name) {
  // A reason that is known already tells more than that nothing came.
  if (status.code() != StatusCode::InvalidArgument) status_.SetError(status);
  FinishedRecording finished;
  finished.result = std::move(status);
  finished.name = std::move(name);
  Publish(std::move(finished));
}

// The file is ended on its own thread, so that the picture goes on at once.
void Recorder::HandOver(uint64_t next_pts) {
  {
    const MutexLock lock(mutex_);
    shared_.reset();
  }
  if (!stop_asked_ns_) current_->StopAt(next_pts);
  current_->Close();
  ending_.push_back(std::move(current_));
  ending_count_ = static_cast<uint32_t>(ending_.size());
}

void Recorder::Publish(FinishedRecording finished) {
  const Status& result = finished.result;
  if (result.ok()) {
    if (!finished.fallback.empty()) LogWarning("%s", finished.fallback.c_str());
    status_.Update([&](EngineSnapshot& record) {
      record.saved_elsewhere = finished.fallback.empty() ? std::string() : finished.folder;
      record.saved_elsewhere_reason = finished.fallback;
    });
  }
  const MutexLock lock(mutex_);
  if (result.ok()) ++saved_;
  // Nothing that came in time is no fault of the file's.
  if (!result.ok() && result.code() != StatusCode::InvalidArgument) ++failed_;
  finished.number = ++finished_count_;
  std::vector<FinishedRecording> told;
  if (finished_ != nullptr) told = *finished_;
  if (told.size() == kToldAtMost) told.erase(told.begin());
  told.push_back(std::move(finished));
  finished_ = std::make_shared<const std::vector<FinishedRecording>>(std::move(told));
}

void Recorder::Reap() {
  std::erase_if(ending_, [](const auto& recording) { return recording->Done(); });
  ending_count_ = static_cast<uint32_t>(ending_.size());
}

}  // namespace orventa
