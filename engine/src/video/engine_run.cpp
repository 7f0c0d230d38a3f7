#include "video/engine_run.h"

#include <algorithm>
#include <array>
#include <exception>
#include <utility>

#include "base/log.h"
#include "video/pipeline_builder.h"

namespace orventa {
namespace {

constexpr uint64_t kSuspendedAtMostNs = 60 * kNsPerSecond;
constexpr uint64_t kSuspendedStepNs = 100 * kNsPerMs;
constexpr uint64_t kLookForTargetNs = kNsPerSecond;
// An idle service holds no memory of the card.
constexpr uint64_t kIdleDeviceNs = 30 * kNsPerSecond;
constexpr uint64_t kSearchEncoderNs = 300 * kNsPerSecond;
constexpr uint64_t kTrimHoldNs = 15 * kNsPerSecond;
// A pipeline that ran this long before it failed begins a new count of failures.
constexpr uint64_t kSoundRunNs = 30 * kNsPerSecond;
constexpr uint32_t kFailuresThatEndRecordings = 3;
// Pipelines begin no faster than this, or a target that is found and gone at once
// would have them built without end.
constexpr uint64_t kShortestRunNs = 250 * kNsPerMs;
// What a pipeline's end waits for its sound, and how late devices give it.
constexpr uint64_t kSoundWaitNs = 250 * kNsPerMs;
constexpr uint64_t kSoundArrivesNs = 60 * kNsPerMs;

}  // namespace

uint64_t BackOffNs(uint32_t failures) {
  constexpr std::array<uint64_t, 5> kSeconds = {2, 4, 8, 16, 30};
  const size_t step = std::clamp<size_t>(failures, 1, kSeconds.size()) - 1;
  return kSeconds[step] * kNsPerSecond;
}

EngineRun::EngineRun(EngineCore& core, const EngineSwitches& switches)
    : core_(core), switches_(switches), pace_(switches.pace_log_path) {}

void EngineRun::Run() {
  const auto exact_sleeps = clock().RaiseTimerResolution();
  while (!Stopping()) Round();
  core_.parts.StopWebcam();
  ReleaseDevice();
  core_.recorder.GiveUp();
  core_.recorder.FinishAll();
}

void EngineRun::Round() {
  core_.session.ExpireKept(clock().SteadyNs());
  WaitOutSuspension();
  if (core_.orders.paused && !core_.recorder.Wanted()) return StayPaused();
  if (core_.orders.clear_requested.exchange(false)) ClearHistories();

  const Status status = BuildAndRun();
  if (status.code() != StatusCode::NoTarget) no_target_since_ns_.reset();
  switch (status.code()) {
    case StatusCode::Ok: failures_ = 0; break;
    case StatusCode::NoTarget: WaitForTarget(); break;
    case StatusCode::NoEncoder: WaitForEncoder(status); break;
    default: AfterFailure(status);
  }
}

void EngineRun::WaitOutSuspension() {
  EngineOrders& orders = core_.orders;
  if (!orders.suspended) return;
  while (orders.suspended && !Stopping() &&
         clock().SteadyNs() - orders.suspended_at_ns < kSuspendedAtMostNs) {
    orders.WaitUntil(clock().SteadyNs() + kSuspendedStepNs,
                     [&] { return !orders.suspended || orders.stop_requested; });
  }
  orders.suspended = false;
  resumed_ = true;
}

void EngineRun::EnterPause() {
  core_.status.ForgetPackets();
  core_.status.Update([](EngineSnapshot& record) { record.no_target = false; });
  // A stopped replay holds nothing, and what was given for one run has ended.
  core_.session.SetSession({});
  ClearHistories();
  core_.orders.clear_requested = false;
  core_.parts.StopWebcam();
  ReleaseDevice();
}

void EngineRun::StayPaused() {
  EnterPause();
  EngineOrders& orders = core_.orders;
  uint64_t next_search_ns = clock().SteadyNs() + kSearchEncoderNs;
  const auto ended = [&] {
    return !orders.paused || orders.stop_requested || core_.recorder.Wanted();
  };
  while (!ended()) {
    LookWhilePaused(next_search_ns);
    const bool search_wanted = core_.device.no_encoder();
    orders.WaitUntil(clock().SteadyNs() + kLookForTargetNs, [&] {
      return ended() || orders.suspended || (search_wanted && orders.retry_encoder);
    });
    if (orders.suspended) return;
  }
}

void EngineRun::LookWhilePaused(uint64_t& next_search_ns) {
  const bool due = clock().SteadyNs() >= next_search_ns;
  if (core_.device.no_encoder() && (due || core_.orders.retry_encoder)) {
    core_.orders.retry_encoder = false;
    next_search_ns = clock().SteadyNs() + kSearchEncoderNs;
    if (core_.device.Obtain(core_.session.Effective().adapter).ok()) ReleaseDevice();
    core_.status.Update(
        [&](EngineSnapshot& record) { record.no_encoder = core_.device.no_encoder(); });
  }
  FoundTarget found;
  if (core_.platform.targets.Find(last_target_.target.window, found).ok()) {
    PublishTarget(core_.status, found);
    if (!core_.device.no_encoder()) core_.recorder.NoteTarget(&found);
  } else {
    core_.status.ClearTarget();
    core_.status.Update([](EngineSnapshot& record) { record.no_target = true; });
    core_.recorder.NoteTarget(nullptr);
  }
}

Status EngineRun::BuildAndRun() {
  // Orders that come from here on concern the pipeline that is being built.
  core_.orders.restart_requested = false;
  core_.orders.target_in_doubt = false;
  std::unique_ptr<Pipeline> pipeline;
  try {
    PipelineBuilder builder(core_, last_target_, last_sound_);
    if (Status status = builder.Build(pipeline); !status.ok()) return status;
    return RunPipeline(std::move(pipeline));
  } catch (const std::exception& error) {
    return PipelineError(core_.device.device().get(), error.what());
  } catch (...) {
    return PipelineError(core_.device.device().get(), "unknown");
  }
}

Status EngineRun::RunPipeline(std::unique_ptr<Pipeline> pipeline) {
  const uint64_t begun_ns = clock().SteadyNs();
  const std::shared_ptr<ReplayBuffer> history = core_.session.history();
  PlaceOnTimeline(*pipeline);
  pipeline->sink = std::make_unique<PacketSink>(clock(), core_.status, core_.recorder, history);
  pipeline->worker = std::make_unique<EncoderWorker>(clock(), *pipeline->encoder, *pipeline->sink,
                                                     pipeline->pool_size);
  pipeline->sound->SetTap(&core_.recorder);
  core_.recorder.PipelineBegins(*pipeline);
  FrameLoop loop(core_, switches_, pace_, *pipeline, next_pts_);
  const LoopEnd end = loop.Run();
  LeavePipeline(*pipeline, loop, end);
  if (clock().SteadyNs() - begun_ns >= kSoundRunNs) failures_ = 0;
  core_.orders.WaitUntil(begun_ns + kShortestRunNs, [&] { return Stopping(); });
  return end.error;
}

void EngineRun::PlaceOnTimeline(Pipeline& pipeline) {
  const FoundTarget& target = pipeline.target;
  const std::string& identity = target.Identity();
  const std::shared_ptr<ReplayBuffer> history = core_.session.history();
  const bool changed = changes_.PipelineStarts({.identity = identity,
                                                .is_window = target.IsWindow(),
                                                .after_sleep = std::exchange(resumed_, false),
                                                .now_ns = clock().SteadyNs()},
                                               [&] { return history->TakeTrimPending(); });
  if (changed) history->HoldFor(next_pts_, kTrimHoldNs);
  core_.session.NotePipeline({.start_pts = next_pts_,
                              .name = target.name,
                              .title = target.description,
                              .is_window = target.IsWindow()},
                             changed, clock().WallMs());
  pipeline.sound_base_pts = std::max(next_pts_, sound_end_pts_);
  if (pipeline.sound->HasTracks()) {
    pipeline.sound->FillGaps(*core_.platform.sound, pipeline.sound_base_pts);
  }
  last_target_ = target;
}

void EngineRun::LeavePipeline(Pipeline& pipeline, FrameLoop& loop, LoopEnd end) {
  next_pts_ = loop.next_pts();
  core_.parts.StopWebcamTimes();
  core_.parts.ClosePresses();
  core_.parts.FinishScreenshot();
  pace_.Write();
  if (!end.failed) {
    if (const Status drained = pipeline.worker->Drain(); !drained.ok()) {
      core_.status.SetError(drained);
    }
  }
  pipeline.worker->Stop();
  if (end.failed || end.target_gone) core_.status.ForgetPackets();
  FinishSound(*pipeline.sound);
  EndRecording(end);

  core_.status.ClearLive();
  if (end.failed) core_.status.Update([](EngineSnapshot& record) { ++record.restarts; });
  if (end.stalled) resumed_ = true;
  if (!end.target_gone) return;
  core_.status.ClearTarget();
  const uint64_t now_ns = clock().SteadyNs();
  if (pipeline.target.IsWindow()) changes_.WindowLost(now_ns);
  core_.session.KeepForOldTarget(now_ns);
}

void EngineRun::EndRecording(const LoopEnd& end) {
  using End = Recorder::PipelineEnd;
  const bool switched = end.switched || (end.settings_stale && !end.target_gone);
  core_.recorder.PipelineEnded(end.failed ? End::Failed
                               : switched ? End::Switched
                                          : End::GoneForGood,
                               next_pts_);
}

// The sound goes on to where the picture ends: it is read a while after it was heard,
// and one more packet of every track is made whole.
void EngineRun::FinishSound(SoundPump& sound) {
  last_sound_.reset();
  if (!sound.HasTracks()) return;
  EngineOrders& orders = core_.orders;
  const bool recorded = core_.recorder.IsOpen();
  if (recorded || (!orders.stop_requested && !orders.paused)) {
    const uint64_t until_ns = sound.WholePacketsUntil(next_pts_);
    orders.WaitUntil(std::min(clock().SteadyNs() + kSoundWaitNs, until_ns + kSoundArrivesNs),
                     [&] { return orders.stop_requested && !recorded; });
    sound.Pump(clock().SteadyNs(), until_ns, orders.push_to_talk_held);
  }
  sound.Flush();
  sound_end_pts_ = sound.EndPts();
  last_sound_ = sound.layout();
}

void EngineRun::AfterFailure(const Status& status) {
  if (Stopping()) return;
  ++failures_;
  core_.status.SetError(status);
  LogError("the capture failed: %s", status.ToString().c_str());
  if (failures_ == kFailuresThatEndRecordings) core_.recorder.GiveUp();
  core_.parts.StopWebcam();
  core_.orders.WaitUntil(clock().SteadyNs() + BackOffNs(failures_), [&] { return Stopping(); });
}

void EngineRun::WaitForTarget() {
  core_.recorder.GiveUp();
  core_.status.ClearTarget();
  core_.status.Update([](EngineSnapshot& record) { record.no_target = true; });
  core_.parts.StopWebcam();
  const uint64_t now_ns = clock().SteadyNs();
  if (!no_target_since_ns_) no_target_since_ns_ = now_ns;
  if (now_ns - *no_target_since_ns_ >= kIdleDeviceNs) ReleaseDevice();
  EngineOrders& orders = core_.orders;
  orders.WaitUntil(now_ns + kLookForTargetNs,
                   [&] { return orders.stop_requested || orders.paused || orders.suspended; });
}

void EngineRun::WaitForEncoder(const Status& status) {
  core_.parts.StopWebcam();
  core_.recorder.GiveUp();
  core_.status.SetError(status);
  core_.status.ClearTarget();
  core_.status.Update([](EngineSnapshot& record) { record.no_encoder = true; });
  ReleaseDevice();
  EngineOrders& orders = core_.orders;
  orders.WaitUntil(clock().SteadyNs() + kSearchEncoderNs, [&] {
    return orders.stop_requested || orders.paused || orders.retry_encoder ||
           orders.restart_requested;
  });
}

void EngineRun::ClearHistories() {
  core_.session.ClearHistory();
  core_.parts.ClearWebcam();
}

void EngineRun::ReleaseDevice() {
  core_.device.Release();
}

}  // namespace orventa
