// The engine thread's life between Start and Stop: looks for a target, builds and
// runs pipelines, waits when that fails, and keeps the session timeline across all
// of them. Made and used on the engine thread.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "video/engine_core.h"
#include "video/frame_loop.h"
#include "video/pace_log.h"
#include "video/pipeline.h"
#include "video/target_changes.h"

namespace orventa {

// The wait after the n-th failure in a row, n from 1.
uint64_t BackOffNs(uint32_t failures);

class EngineRun {
 public:
  EngineRun(EngineCore& core, const EngineSwitches& switches);

  // Until a stop is requested.
  void Run();

 private:
  void Round();
  void WaitOutSuspension();
  void StayPaused();
  void EnterPause();
  void LookWhilePaused(uint64_t& next_search_ns);
  // Builds and runs one pipeline; the failure of either.
  Status BuildAndRun();
  Status RunPipeline(std::unique_ptr<Pipeline> pipeline);
  void PlaceOnTimeline(Pipeline& pipeline);
  void LeavePipeline(Pipeline& pipeline, FrameLoop& loop, LoopEnd end);
  void FinishSound(SoundPump& sound);
  void EndRecording(const LoopEnd& end);
  void AfterFailure(const Status& status);
  void WaitForTarget();
  void WaitForEncoder(const Status& status);
  void ClearHistories();
  void ReleaseDevice();

  IClock& clock() const { return core_.clock(); }
  bool Stopping() const { return core_.orders.stop_requested; }

  EngineCore& core_;
  const EngineSwitches& switches_;
  PaceLog pace_;
  TargetChanges changes_;
  uint64_t next_pts_ = 0;    // where the next pipeline begins on the session timeline
  bool resumed_ = false;     // the machine slept since the last pipeline
  uint32_t failures_ = 0;    // in a row
  FoundTarget last_target_;  // the last pipeline's
  std::optional<SoundLayout> last_sound_;
  uint64_t sound_end_pts_ = 0;                  // where the sound of the last pipeline ended
  std::optional<uint64_t> no_target_since_ns_;  // steady clock
};

}  // namespace orventa
