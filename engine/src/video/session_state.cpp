#include "video/session_state.h"

#include <algorithm>
#include <utility>

#include "base/clock.h"

namespace orventa {

SessionState::SessionState(const Config& base, std::string disk_folder)
    : disk_folder_(std::move(disk_folder)), settings_(base) {}

void SessionState::Begin() {
  MutexLock lock(lock_);
  settings_.ForgetKept();
  basis_ = {};
  video_ = {};
  notes_.Clear();
  history_ = ReplayBuffer::Create(HistoryOptions(settings_, basis_, disk_folder_));
}

void SessionState::End() {
  MutexLock lock(lock_);
  history_.reset();
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
  return {.change = EffectsOfChange(before, settings_.config()),
          .history_lost = ReconfigureHistory()};
}

bool SessionState::ReconfigureHistory() {
  return history_ && history_->Reconfigure(HistoryOptions(settings_, basis_, disk_folder_));
}

Config SessionState::Effective() const {
  MutexLock lock(lock_);
  return settings_.config();
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
}

bool SessionState::SetVideo(Mp4VideoTrack video) {
  MutexLock lock(lock_);
  const bool continues = video_.sequence_header == video.sequence_header;
  video_ = std::move(video);
  if (continues || history_->Stats().packets == 0) return false;
  history_->Clear();
  return true;
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

uint64_t SessionState::OldestWanted(uint64_t newest_pts) const {
  const uint64_t kept_ns = settings_.ReplaySeconds() * kNsPerSecond;
  return newest_pts > kept_ns ? newest_pts - kept_ns : 0;
}

size_t SessionState::AddMarker(uint64_t pts) {
  MutexLock lock(lock_);
  const uint64_t oldest = OldestWanted(pts);
  return notes_.AddMarker(pts, oldest, oldest);
}

size_t SessionState::AddEvent(ClipEvent event) {
  MutexLock lock(lock_);
  const uint64_t oldest = OldestWanted(event.pts);
  return notes_.AddEvent(std::move(event), oldest, oldest);
}

ClipSources SessionState::SourcesForClip(uint32_t seconds) const {
  MutexLock lock(lock_);
  ClipSources sources;
  sources.config = settings_.config();
  sources.seconds = std::max(1U, seconds != 0 ? seconds : settings_.ReplaySeconds());
  sources.video = video_;
  sources.history = history_;
  sources.notes = notes_;
  return sources;
}

}  // namespace orventa
