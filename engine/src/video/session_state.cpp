#include "video/session_state.h"

#include <algorithm>
#include <utility>

#include "base/clock.h"
#include "sound/aac.h"
#include "video/sound_chain.h"

namespace orventa {
namespace {

// A clip begins at a keyframe of the picture, its sound somewhat earlier.
constexpr uint32_t kSoundSecondsBeyond = 10;

}  // namespace

SessionState::SessionState(const Config& base, std::string disk_folder)
    : disk_folder_(std::move(disk_folder)), settings_(base) {}

void SessionState::Begin() {
  MutexLock lock(lock_);
  settings_.ForgetKept();
  basis_ = {};
  video_ = {};
  sound_.clear();
  notes_.Clear();
  history_ = ReplayBuffer::Create(HistoryOptions(settings_, basis_, disk_folder_));
}

void SessionState::End() {
  MutexLock lock(lock_);
  history_.reset();
  sound_.clear();
}

SessionState::Outcome SessionState::SetBase(const Config& base) {
  MutexLock lock(lock_);
  const Config before = settings_.config();
  settings_.SetBase(base);
  return Changed(before);
}

SessionState::Outcome SessionState::SetSession(SettingOverrides overrides) {
  MutexLock lock(lock_);
  const Config before = settings_.config();
  settings_.SetSession(std::move(overrides));
  return Changed(before);
}

SessionState::Outcome SessionState::SetTarget(SettingOverrides overrides) {
  MutexLock lock(lock_);
  const Config before = settings_.config();
  settings_.SetTarget(std::move(overrides));
  return Changed(before);
}

SessionState::Outcome SessionState::KeepForOldTarget(uint64_t now_ns) {
  MutexLock lock(lock_);
  const Config before = settings_.config();
  settings_.KeepForOldTarget(now_ns);
  return Changed(before);
}

SessionState::Outcome SessionState::ExpireKept(uint64_t now_ns) {
  MutexLock lock(lock_);
  if (!settings_.ExpireKept(now_ns)) return {};
  // What goes now was meant to go: no reset of the history.
  ReconfigureHistory();
  return {};
}

void SessionState::ForgetKept() {
  MutexLock lock(lock_);
  settings_.ForgetKept();
}

SessionState::Outcome SessionState::Changed(const Config& before) {
  Outcome outcome{.change = EffectsOfChange(before, settings_.config()),
                  .history_lost = ReconfigureHistory()};
  if (WantsVoiceTrack(before) != WantsVoiceTrack(settings_.config())) outcome.change.restart = true;
  return outcome;
}

bool SessionState::ReconfigureHistory() {
  ConfigureSound();
  return history_ && history_->Reconfigure(HistoryOptions(settings_, basis_, disk_folder_));
}

void SessionState::ConfigureSound() {
  const uint32_t seconds = settings_.ReplaySeconds() + kSoundSecondsBeyond;
  // Encoders give what they can, not what is asked for.
  const uint64_t bytes_a_second = AacBitrate(settings_.config().audio.bitrate_bps) / 8;
  for (const SoundHistory& track : sound_) {
    track.packets->Configure(seconds, 2 * bytes_a_second * seconds);
  }
}

void SessionState::ClearSound() {
  for (const SoundHistory& track : sound_) track.packets->Clear();
}

Config SessionState::Effective() const {
  MutexLock lock(lock_);
  return settings_.config();
}

Config SessionState::EffectiveFor(const SettingOverrides& target) const {
  MutexLock lock(lock_);
  return settings_.ConfigFor(target);
}

bool SessionState::HasSessionOverrides() const {
  MutexLock lock(lock_);
  return settings_.HasSessionOverrides();
}

SessionState::Lengths SessionState::InForce() const {
  MutexLock lock(lock_);
  Lengths lengths;
  lengths.replay = ReplaySecondsWithinLimit(settings_, basis_);
  const uint32_t clip = settings_.config().service.save_seconds;
  lengths.clip = clip == 0 ? lengths.replay : std::min(clip, lengths.replay);
  return lengths;
}

std::shared_ptr<ReplayBuffer> SessionState::history() const {
  MutexLock lock(lock_);
  return history_;
}

void SessionState::ClearHistory() {
  MutexLock lock(lock_);
  if (history_) history_->Clear();
  ClearSound();
}

bool SessionState::SetVideo(Mp4VideoTrack video) {
  MutexLock lock(lock_);
  const bool continues = video_.sequence_header == video.sequence_header;
  video_ = std::move(video);
  if (continues) return false;
  ClearSound();  // sound without its picture is in no clip
  if (history_->Stats().packets == 0) return false;
  history_->Clear();
  return true;
}

Mp4VideoTrack SessionState::video() const {
  MutexLock lock(lock_);
  return video_;
}

bool SessionState::SetSound(std::vector<Mp4AudioTrack> formats) {
  MutexLock lock(lock_);
  if (std::equal(sound_.begin(), sound_.end(), formats.begin(), formats.end(),
                 [](const SoundHistory& track, const Mp4AudioTrack& format) {
                   return track.format == format;
                 })) {
    return false;
  }
  const bool held = std::any_of(sound_.begin(), sound_.end(), [](const SoundHistory& track) {
    return track.packets->EndTime() > 0;
  });
  // A save under way keeps the old ones.
  sound_.clear();
  for (Mp4AudioTrack& format : formats) {
    sound_.push_back({std::move(format), std::make_shared<AudioReplayBuffer>()});
  }
  ConfigureSound();
  return held;
}

std::vector<SoundHistory> SessionState::sound() const {
  MutexLock lock(lock_);
  return sound_;
}

bool SessionState::SetBudgetBasis(const BudgetBasis& basis) {
  MutexLock lock(lock_);
  basis_ = basis;
  return ReconfigureHistory();
}

void SessionState::NotePipeline(TargetPeriod period, bool target_changed, int64_t wall_ms) {
  MutexLock lock(lock_);
  notes_.NoteWallClock({.pts = period.start_pts, .unix_time_ms = wall_ms});
  notes_.NoteTarget(std::move(period), target_changed);
}

uint64_t SessionState::SaveFrom(uint64_t newest_pts) const {
  const uint64_t kept_ns = settings_.ReplaySeconds() * kNsPerSecond;
  return newest_pts > kept_ns ? newest_pts - kept_ns : 0;
}

uint64_t SessionState::OldestWanted(uint64_t save_from) const {
  for (const uint64_t pts : notes_held_from_) save_from = std::min(save_from, pts);
  return save_from;
}

size_t SessionState::AddMarker(uint64_t pts) {
  MutexLock lock(lock_);
  const uint64_t save_from = SaveFrom(pts);
  return notes_.AddMarker(pts, OldestWanted(save_from), save_from);
}

size_t SessionState::AddEvent(ClipEvent event) {
  MutexLock lock(lock_);
  const uint64_t save_from = SaveFrom(event.pts);
  return notes_.AddEvent(std::move(event), OldestWanted(save_from), save_from);
}

void SessionState::HoldNotes(uint64_t pts) {
  MutexLock lock(lock_);
  notes_held_from_.push_back(pts);
}

void SessionState::LetGoOfNotes(uint64_t pts) {
  MutexLock lock(lock_);
  const auto held = std::find(notes_held_from_.begin(), notes_held_from_.end(), pts);
  if (held != notes_held_from_.end()) notes_held_from_.erase(held);
}

TimelineMarks SessionState::Marks(uint64_t from_pts, uint64_t to_pts) const {
  MutexLock lock(lock_);
  return MarksBetween(notes_, from_pts, to_pts);
}

ClipSources SessionState::SourcesForClip(uint32_t seconds) const {
  MutexLock lock(lock_);
  ClipSources sources;
  sources.config = settings_.config();
  sources.seconds = std::max(1U, seconds != 0 ? seconds : settings_.ReplaySeconds());
  sources.video = video_;
  sources.history = history_;
  sources.sound = sound_;
  sources.notes = notes_;
  return sources;
}

}  // namespace orventa
