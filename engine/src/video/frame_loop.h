// Runs one pipeline: a frame slot every interval, each taking the newest picture,
// converting it and handing it to the encoder worker. Slots that were missed are
// skipped, never made up. Engine thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "base/status.h"
#include "video/engine_core.h"
#include "video/pace_log.h"
#include "video/pipeline.h"
#include "video/target_watch.h"

namespace orventa {

// Why a loop ended; several may hold. None: an order (stop, restart, pause, clear).
struct LoopEnd {
  bool failed = false;          // `error` says what
  bool target_gone = false;     // closed, or another target won
  bool switched = false;        // with target_gone: another target won
  bool settings_stale = false;  // the picture no longer fits what was built for it
  bool stalled = false;         // the machine slept, or the thread stood still
  Status error;
};

class FrameLoop {
 public:
  // Slot 0 stands at `base_pts` on the session timeline.
  FrameLoop(EngineCore& core, const EngineSwitches& switches, PaceLog& pace, Pipeline& pipeline,
            uint64_t base_pts);

  // Until something ends it; exceptions from the parts of the pipeline end it too.
  const LoopEnd& Run();

  // Where the next pipeline continues on the session timeline.
  uint64_t next_pts() const { return next_pts_; }

 private:
  void RunSlots();
  bool MustLeave() const;
  // False: an order came before the slot did.
  bool SleepUntilSlot(uint64_t slot_at_ns);
  bool CheckHealth(uint64_t slot_at_ns, uint64_t now_ns);
  void Slot(uint64_t slot, uint64_t now_ns);
  void SteerRecording();
  void WatchTarget(uint64_t slot, uint64_t now_ns);
  void SwitchTarget();
  void WatchDisplay();
  void FollowDisplay(const DisplayDescription& display);
  void PumpSound(uint64_t now_ns);
  void PublishSoundDevices();
  // Whether the newest picture has the size that the pipeline was built for.
  bool PictureFits(uint64_t now_ns);
  bool ConvertAndSubmit(bool fits);
  bool PictureForSlot(bool fits, bool& repeated);
  void Fail(Status status);
  uint32_t LapUs();

  EngineCore& core_;
  const EngineSwitches& switches_;
  PaceLog& pace_;
  Pipeline& pipeline_;
  TargetWatch watch_;

  const uint64_t base_pts_;
  uint64_t next_pts_;
  uint64_t pts_ = 0;       // of the slot under way
  uint64_t begin_ns_ = 0;  // steady clock at slot 0
  uint64_t suspended_before_ns_ = 0;
  uint64_t next_checks_slot_ = 0;

  bool have_frame_;              // some picture has come
  bool unseen_;                  // the newest picture has not been converted yet
  PictureRef converted_;         // the last one, for repeats
  bool force_keyframe_ = false;  // with the next picture
  std::optional<uint64_t> misfit_since_ns_;
  DisplayDescription toned_for_;  // what the converter maps tones for,
  float toned_peak_;              // and the greatest peak of those before

  std::string microphone_trouble_;       // as the status record has it
  std::optional<uint32_t> stints_seen_;  // the status record has the devices up to there

  PaceRow row_;
  uint64_t lap_ns_ = 0;
  LoopEnd end_;
};

// What a pipeline that fails is told by: the card's reason when it was lost.
Status PipelineError(const GraphicsDevice* device, const char* what);

}  // namespace orventa
