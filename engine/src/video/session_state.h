// What outlives pipelines and is shared with the engine's callers: the settings in
// force, the history with the description of its stream, and the notes beside it.
// One lock, the settings lock; any thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "base/mutex.h"
#include "mp4/movie.h"
#include "settings/schema.h"
#include "video/clip_saver.h"
#include "video/effective_settings.h"
#include "video/encoder_choice.h"
#include "video/replay_buffer.h"
#include "video/timeline_marks.h"
#include "video/timeline_notes.h"

namespace orventa {

class SessionState {
 public:
  // `disk_folder`: where a history on disk keeps its payload files.
  SessionState(const Config& base, std::string disk_folder);

  // A new session: an empty history, nothing noted.
  void Begin();
  void End();  // saves find no history from now on

  // Settings. Each takes the new ones over into the history as well and returns
  // what that means; `history_lost` when a noticeable part of it went.
  struct Outcome {
    SettingEffects change;
    bool history_lost = false;
  };
  Outcome SetBase(const Config& base);
  Outcome SetSession(SettingOverrides overrides);
  Outcome SetTarget(SettingOverrides overrides);
  Outcome KeepForOldTarget(uint64_t now_ns);
  Outcome ExpireKept(uint64_t now_ns);
  void ForgetKept();

  Config Effective() const;
  // What would be in force for a target with these settings.
  Config EffectiveFor(const SettingOverrides& target) const;
  bool HasSessionOverrides() const;
  // Lengths in force, in seconds.
  struct Lengths {
    uint32_t replay = 0;
    uint32_t clip = 0;
  };
  Lengths InForce() const;

  // The history. Null before the first Begin.
  std::shared_ptr<ReplayBuffer> history() const;
  void ClearHistory();
  // The stream that comes next. Packets that it cannot continue are dropped; true
  // when there were some.
  bool SetVideo(Mp4VideoTrack video);
  Mp4VideoTrack video() const;
  // The sound tracks that come next. Their histories go on when neither the tracks
  // nor the picture's stream have changed; otherwise they begin anew, and it is true
  // when something was dropped.
  bool SetSound(std::vector<Mp4AudioTrack> formats);
  // A history for each track.
  std::vector<SoundHistory> sound() const;
  // Works the byte budget out anew; true when a noticeable part of the history went.
  bool SetBudgetBasis(const BudgetBasis& basis);

  // Notes. `pts` is the newest packet's; returns how many a save would hold.
  void NotePipeline(TargetPeriod period, bool target_changed, int64_t wall_ms);
  size_t AddMarker(uint64_t pts);
  size_t AddEvent(ClipEvent event);
  // Keeps the notes from `pts` on for a recording that began there, until they are
  // let go of.
  void HoldNotes(uint64_t pts);
  void LetGoOfNotes(uint64_t pts);
  TimelineMarks Marks(uint64_t from_pts, uint64_t to_pts) const;

  // A copy of what a save needs, but for what the status board knows.
  // `seconds` 0: the whole replay.
  ClipSources SourcesForClip(uint32_t seconds) const;

 private:
  Outcome Changed(const Config& before) ORVENTA_REQUIRES(lock_);
  bool ReconfigureHistory() ORVENTA_REQUIRES(lock_);
  void ConfigureSound() ORVENTA_REQUIRES(lock_);
  void ClearSound() ORVENTA_REQUIRES(lock_);
  // Where a save of the current length would begin.
  uint64_t SaveFrom(uint64_t newest_pts) const ORVENTA_REQUIRES(lock_);
  uint64_t OldestWanted(uint64_t save_from) const ORVENTA_REQUIRES(lock_);

  const std::string disk_folder_;

  mutable Mutex lock_;
  EffectiveSettings settings_ ORVENTA_GUARDED_BY(lock_);
  BudgetBasis basis_ ORVENTA_GUARDED_BY(lock_);
  std::shared_ptr<ReplayBuffer> history_ ORVENTA_GUARDED_BY(lock_);
  Mp4VideoTrack video_ ORVENTA_GUARDED_BY(lock_);
  std::vector<SoundHistory> sound_ ORVENTA_GUARDED_BY(lock_);
  TimelineNotes notes_ ORVENTA_GUARDED_BY(lock_);
  std::vector<uint64_t> notes_held_from_ ORVENTA_GUARDED_BY(lock_);
};

}  // namespace orventa
