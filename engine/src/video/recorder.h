// The engine's recordings: what its callers want, the one that is open, the files that
// are still being ended. A recording takes the packets that the replay takes; when the
// picture has to be built anew underneath it, it goes on in another file.
// Engine thread, except where a line says otherwise.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base/files.h"
#include "base/mutex.h"
#include "base/status.h"
#include "settings/config.h"
#include "settings/output_folders.h"
#include "video/active_recording.h"
#include "video/capture.h"
#include "video/engine_orders.h"
#include "video/engine_platform.h"
#include "video/replay_engine.h"
#include "video/session_state.h"
#include "video/sound_pump.h"
#include "video/status_board.h"

namespace orventa {

struct Pipeline;

// The picture of these settings while a recording is wanted.
Config::Video PictureOfRecording(const Config& config);

class Recorder final : public ISoundTap {
 public:
  // All of them must outlive the recorder.
  Recorder(const EnginePlatform& platform, const KnownFolders& folders, EngineOrders& orders,
           SessionState& session, StatusBoard& status);

  // Any thread. `current_window`: the window captured now, or 0.
  Status Start(uint64_t current_window, std::string& path);
  Status Stop(std::string& path);
  void Fill(EngineSnapshot& snapshot) const;

  // Encoder worker.
  void TakeVideo(const EncodedPacket& packet);

  void Take(size_t track, const EncodedPacket& packet, uint64_t duration_ns) override;

  bool Wanted() const { return orders_.recording_wanted; }
  // Packets go into a file now: no order may cut it in two.
  bool IsOpen() const { return current_ != nullptr; }
  // Whether the user began what is wanted or open, so that its target stays.
  bool HoldsTarget() const;

  // What is in front of all now, null when nothing is: it may ask to be recorded.
  void NoteTarget(const FoundTarget* target);
  // A pipeline is about to run.
  void PipelineBegins(const Pipeline& pipeline);

  enum class Steering {
    GoOn,
    ForceKeyframe,  // a file begins with the next picture
    Rebuild,        // what is wanted has another picture than the pipeline
  };
  // Once a slot; the next picture stands at `next_pts`. `undecided`: it is not known yet
  // in what range the game draws.
  Steering Steer(const Pipeline& pipeline, uint64_t next_pts, bool undecided);

  enum class PipelineEnd {
    GoneForGood,  // its target closed, or the engine was told to end it
    Switched,     // to another target or picture
    Failed,
  };
  // Everything up to `next_pts` has been taken.
  void PipelineEnded(PipelineEnd end, uint64_t next_pts);
  // There will be no pipeline to go on in.
  void GiveUp();
  // Waits for the files that are being ended, but not for ever: a drive may never answer.
  // Those that remain are waited for as the recorder goes.
  void FinishAll();

 private:
  enum class Begun { ByUser, ByItself };
  struct Place {
    OutputPath output;
    std::string name;  // of the target
  };
  // What is wanted, while something is.
  struct Wish {
    uint32_t id = 0;
    Begun begun = Begun::ByUser;
    Place place;              // of the next file; no path: the next pipeline's target says
    std::string last_path;    // the newest file's; empty: none has been opened
    uint64_t elapsed_ns = 0;  // in the files before the one that is open
    uint64_t bytes = 0;
  };

  Status Resolve(const Config& config, const FoundTarget& target, Place& place) const;
  Status Want(Begun begun, const FoundTarget& target, std::string& path) ORVENTA_EXCLUDES(mutex_);
  bool GoesOn(PipelineEnd end, const ActiveRecording& recording);
  void TellWithout(Status status, std::string name) ORVENTA_EXCLUDES(mutex_);
  bool StillWanted(const ActiveRecording& recording) const ORVENTA_EXCLUDES(mutex_);
  void Unwant(uint32_t id) ORVENTA_EXCLUDES(mutex_);
  Steering Open(const Pipeline& pipeline, uint64_t next_pts);
  void SteerOpen(uint64_t next_pts);
  void HandOver(uint64_t next_pts);
  void Publish(FinishedRecording finished) ORVENTA_EXCLUDES(mutex_);
  void Reap();

  IClock& clock_;
  ITargetFinder& targets_;
  IRecordingDrive& drive_;
  const KnownFolders& folders_;
  EngineOrders& orders_;
  SessionState& session_;
  StatusBoard& status_;

  mutable Mutex mutex_;
  Wish wish_ ORVENTA_GUARDED_BY(mutex_);
  std::shared_ptr<ActiveRecording> shared_ ORVENTA_GUARDED_BY(mutex_);  // as current_
  uint32_t saved_ ORVENTA_GUARDED_BY(mutex_) = 0;
  uint32_t failed_ ORVENTA_GUARDED_BY(mutex_) = 0;
  uint32_t finished_count_ ORVENTA_GUARDED_BY(mutex_) = 0;
  std::shared_ptr<const std::vector<FinishedRecording>> finished_ ORVENTA_GUARDED_BY(mutex_);

  // The last packet of each track: a recording that goes on in another file begins in the
  // middle of those of the pipeline before.
  struct Sound {
    EncodedPacket packet;
    uint64_t duration_ns = 0;
  };
  std::vector<Sound> newest_sound_;
  std::vector<Mp4AudioTrack> sound_formats_;  // of these

  std::shared_ptr<ActiveRecording> current_;
  std::optional<uint64_t> stop_asked_ns_;  // of current_
  std::vector<std::shared_ptr<ActiveRecording>> ending_;
  std::atomic<uint32_t> ending_count_ = 0;
  std::optional<uint64_t> outlived_failure_ns_;      // a recording went on after one then
  std::optional<CaptureTarget> recorded_by_itself_;  // until it is another one's turn
  uint64_t pipeline_begun_ns_ = 0;
};

}  // namespace orventa
