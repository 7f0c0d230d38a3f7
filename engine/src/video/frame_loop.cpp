#include "video/frame_loop.h"

#include <algorithm>
#include <cmath>
#include <exception>
#include <string>
#include <utility>

#include "base/log.h"
#include "base/text.h"

namespace orventa {
namespace {

// An order is noticed within this even at one frame a second.
constexpr uint64_t kLongestSleepNs = 100 * kNsPerMs;
constexpr uint64_t kSleptNs = kNsPerSecond;
constexpr uint64_t kStallNs = 29'999'999'999;
constexpr uint64_t kSizeSettlesNs = 500 * kNsPerMs;
// Devices give their sound in buffers, and late.
constexpr uint64_t kSoundBehindNs = 100 * kNsPerMs;
constexpr float kDisplayTolerance = 0.02F;

Status DeviceLost(uint32_t reason) {
  return {StatusCode::DeviceLost,
          Format("the graphics driver reset or the card was removed (0x%08X)", reason)};
}

bool DisplayDiffers(const DisplayDescription& a, const DisplayDescription& b) {
  return a.hdr_on != b.hdr_on || std::fabs(a.sdr_white - b.sdr_white) > kDisplayTolerance ||
         std::fabs(a.peak - b.peak) > kDisplayTolerance;
}

}  // namespace

Status PipelineError(const GraphicsDevice* device, const char* what) {
  if (const uint32_t reason = device != nullptr ? device->RemovedReason() : 0; reason != 0) {
    return DeviceLost(reason);
  }
  return {StatusCode::DriverError, std::string("an unexpected error stopped the capture: ") + what};
}

FrameLoop::FrameLoop(EngineCore& core, const EngineSwitches& switches, PaceLog& pace,
                     Pipeline& pipeline, uint64_t base_pts)
    : core_(core),
      switches_(switches),
      pace_(pace),
      pipeline_(pipeline),
      watch_(core.platform.targets, core.platform.windows, pipeline.target,
             std::max(1U, pipeline.config.video.fps)),
      base_pts_(base_pts),
      next_pts_(base_pts),
      have_frame_(pipeline.frame.picture != nullptr),
      unseen_(have_frame_),
      toned_for_(pipeline.display),
      toned_peak_(pipeline.display.peak) {}

const LoopEnd& FrameLoop::Run() {
  begin_ns_ = core_.clock().SteadyNs();
  // A picture stands in the middle of its slot.
  pipeline_.sound->Begin(
      begin_ns_ + (pipeline_.sound_base_pts - base_pts_) - pipeline_.interval_ns / 2,
      pipeline_.sound_base_pts);
  suspended_before_ns_ = core_.clock().SuspendedNs();
  next_checks_slot_ = 2 * uint64_t{std::max(1U, pipeline_.config.video.fps)};
  try {
    RunSlots();
  } catch (const std::exception& error) {
    Fail(PipelineError(pipeline_.device.get(), error.what()));
  } catch (...) {
    Fail(PipelineError(pipeline_.device.get(), "unknown"));
  }
  return end_;
}

void FrameLoop::RunSlots() {
  const uint64_t interval = pipeline_.interval_ns;
  uint64_t slot = 0;
  while (!MustLeave()) {
    const uint64_t slot_at_ns = begin_ns_ + slot * interval;
    if (!SleepUntilSlot(slot_at_ns)) continue;
    const uint64_t now_ns = core_.clock().SteadyNs();
    const uint64_t reached = (now_ns - begin_ns_) / interval;
    row_ = {.slot = slot, .reached = reached};
    if (!CheckHealth(slot_at_ns, now_ns)) return;

    pts_ = base_pts_ + slot * interval;
    next_pts_ = std::max(next_pts_, pts_);
    Slot(slot, now_ns);
    if (pace_.on()) {
      row_.rest_us += LapUs();
      pace_.Add(row_);
    }

    const uint64_t next_slot = std::max(slot, reached) + 1;
    const uint64_t missed = next_slot - slot - 1;
    if (missed > 0) {
      core_.status.Update([&](EngineSnapshot& record) { record.slots_missed += missed; });
    }
    slot = next_slot;
  }
}

bool FrameLoop::MustLeave() const {
  if (core_.orders.stop_requested || end_.failed || end_.target_gone || end_.settings_stale) {
    return true;
  }
  if (core_.recorder.IsOpen()) return false;
  return core_.orders.restart_requested || core_.orders.clear_requested ||
         (core_.orders.paused && !core_.recorder.Wanted());
}

bool FrameLoop::SleepUntilSlot(uint64_t slot_at_ns) {
  IClock& clock = core_.clock();
  for (bool slept = false;; slept = true) {
    const uint64_t now_ns = clock.SteadyNs();
    if (now_ns >= slot_at_ns) return true;
    if (MustLeave()) return false;
    // At a few frames a second the slots are too far apart for it: a capture holds no
    // more than a second, and the talk key is looked at each time.
    if (slept) PumpSound(now_ns);
    clock.SleepUntil(std::min(slot_at_ns, now_ns + kLongestSleepNs));
  }
}

bool FrameLoop::CheckHealth(uint64_t slot_at_ns, uint64_t now_ns) {
  // The suspended time is the difference of two clocks: it may step back a little.
  const bool slept = core_.clock().SuspendedNs() >= suspended_before_ns_ + kSleptNs;
  if (core_.orders.suspended || slept || now_ns - slot_at_ns > kStallNs) {
    end_.stalled = true;
    return false;
  }
  if (pipeline_.worker->Failed()) {
    Fail(pipeline_.worker->FirstError());
    return false;
  }
  if (const uint32_t reason = pipeline_.device->RemovedReason(); reason != 0) {
    Fail(DeviceLost(reason));
    return false;
  }
  return true;
}

void FrameLoop::Slot(uint64_t slot, uint64_t now_ns) {
  lap_ns_ = now_ns;
  SteerRecording();
  if (core_.orders.sound_changed.exchange(false) &&
      !pipeline_.sound->Apply(core_.session.Effective())) {
    core_.orders.restart_requested = true;
  }
  core_.parts.SteerWebcam();
  WatchTarget(slot, now_ns);
  WatchDisplay();
  core_.parts.ServeScreenshot();

  row_.rest_us = LapUs();
  CapturedFrame& frame = pipeline_.frame;
  have_frame_ = pipeline_.capture->TryAcquire(frame) || have_frame_;
  unseen_ = unseen_ || frame.fresh;
  row_.acquire_us = LapUs();
  row_.drain_us = frame.drain_us;
  row_.fresh = frame.fresh;
  if (have_frame_) {
    const bool fits = PictureFits(now_ns);
    if (fits) core_.parts.FeedProbe();
    if (ConvertAndSubmit(fits)) next_pts_ = pts_ + pipeline_.interval_ns;
  }
  core_.parts.CollectBrightness();
  if (switches_.flush_each_frame) pipeline_.device->Flush();
  PumpSound(now_ns);
  row_.collect_us = LapUs();
}

void FrameLoop::SteerRecording() {
  switch (core_.recorder.Steer(pipeline_, next_pts_, core_.parts.RangeUndecided())) {
    case Recorder::Steering::GoOn: break;
    case Recorder::Steering::ForceKeyframe: force_keyframe_ = true; break;
    case Recorder::Steering::Rebuild: core_.orders.restart_requested = true; break;
  }
}

void FrameLoop::PumpSound(uint64_t now_ns) {
  SoundPump& sound = *pipeline_.sound;
  sound.Pump(now_ns, now_ns - kSoundBehindNs, core_.orders.push_to_talk_held);
  std::string trouble = sound.MicrophoneTrouble();
  if (trouble == microphone_trouble_) return;
  microphone_trouble_ = std::move(trouble);
  core_.status.Update(
      [&](EngineSnapshot& record) { record.microphone_trouble = microphone_trouble_; });
}

void FrameLoop::PublishSoundDevices() {
  const uint32_t newest = NewestStintNumber();
  if (std::exchange(stints_seen_, newest) == newest) return;
  auto trail = std::make_shared<const std::vector<DeviceStint>>(pipeline_.sound->SystemTrail());
  core_.status.Update([&](EngineSnapshot& record) { record.sound_devices = std::move(trail); });
}

void FrameLoop::SwitchTarget() {
  end_.target_gone = end_.switched = true;
}

void FrameLoop::WatchTarget(uint64_t slot, uint64_t now_ns) {
  const bool recording = core_.recorder.Wanted() || core_.recorder.IsOpen();
  if (watch_.WatchWindow(slot, now_ns, recording)) SwitchTarget();
  if (pipeline_.capture->TargetGone()) end_.target_gone = true;
  if (slot >= next_checks_slot_) {
    next_checks_slot_ = slot + 2 * uint64_t{std::max(1U, pipeline_.config.video.fps)};
    core_.session.ExpireKept(now_ns);
    PublishSoundDevices();
    // What the user records stays; a recording of the list's own makes way.
    if (!core_.recorder.HoldsTarget() && watch_.BetterTargetOpened()) SwitchTarget();
  }
  if (!recording && core_.orders.target_in_doubt.exchange(false) && watch_.LostItsClaim()) {
    SwitchTarget();
  }
  const std::string* title = nullptr;
  if (watch_.ReadNewTitle(&title)) {
    core_.status.Update([&](EngineSnapshot& record) { record.target_description = *title; });
  }
}

void FrameLoop::WatchDisplay() {
  if (pipeline_.config.capture.dynamic_range == DynamicRange::Sdr) return;
  const DisplayDescription display = pipeline_.capture->CurrentDisplay();
  if (!DisplayDiffers(display, pipeline_.display)) return;
  core_.orders.restart_requested = true;
  if (core_.recorder.IsOpen()) FollowDisplay(display);
}

// A recording holds the restart back: until then the picture follows as far as it can.
void FrameLoop::FollowDisplay(const DisplayDescription& display) {
  if (pipeline_.encoder->Settings().transfer == Transfer::Pq) {
    if (!display.hdr_on) end_.settings_stale = true;
    return;
  }
  if (!DisplayDiffers(display, toned_for_) || display.sdr_white <= 0) return;
  // What was bright stays as bright.
  toned_peak_ = std::max(toned_peak_, display.peak);
  toned_for_ = display;
  if (const Status status =
          pipeline_.converter->SetTone(display.sdr_white, toned_peak_ / display.sdr_white);
      !status.ok()) {
    LogWarning("the picture could not follow its display: %s", status.ToString().c_str());
  }
}

bool FrameLoop::PictureFits(uint64_t now_ns) {
  const CapturedFrame& frame = pipeline_.frame;
  const PictureSize size{frame.width, frame.height};
  if (!frame.size_changed && size == pipeline_.captured) {
    misfit_since_ns_.reset();
    return true;
  }
  // A minimised window has no size worth rebuilding for.
  if (watch_.minimised()) {
    misfit_since_ns_.reset();
  } else if (!misfit_since_ns_) {
    misfit_since_ns_ = now_ns;
  } else if (now_ns - *misfit_since_ns_ >= kSizeSettlesNs) {
    end_.settings_stale = true;
  }
  return false;
}

bool FrameLoop::PictureForSlot(bool fits, bool& repeated) {
  const CapturedFrame& frame = pipeline_.frame;
  const bool can_repeat =
      converted_ && pipeline_.encoder->AcceptsRepeats() && !switches_.no_repeats;
  repeated = !fits || !unseen_;
  if (repeated && can_repeat) return true;
  if (!fits) return false;
  if (Status status = pipeline_.converter->Convert(frame.picture, converted_); !status.ok()) {
    Fail(std::move(status));
    return false;
  }
  unseen_ = false;
  return true;
}

bool FrameLoop::ConvertAndSubmit(bool fits) {
  bool repeated = false;
  const bool have_picture = PictureForSlot(fits, repeated);
  row_.convert_us = LapUs();
  if (!have_picture) return false;
  const bool queued = pipeline_.worker->Submit(
      {.picture = converted_, .pts = pts_, .force_keyframe = force_keyframe_},
      core_.orders.stop_requested);
  row_.submit_us = LapUs();
  if (!queued) return false;
  force_keyframe_ = false;
  core_.status.Update([&](EngineSnapshot& record) {
    ++record.frames_captured;
    if (repeated) ++record.frames_duplicated;
    record.encoder_in_flight_max = pipeline_.worker->InFlightMax();
  });
  return true;
}

void FrameLoop::Fail(Status status) {
  if (end_.failed) return;
  end_.failed = true;
  end_.error = std::move(status);
}

// Microseconds since the last lap; 0 while nobody reads them.
uint32_t FrameLoop::LapUs() {
  if (!pace_.on()) return 0;
  const uint64_t now_ns = core_.clock().SteadyNs();
  const uint64_t lap_ns = now_ns - std::exchange(lap_ns_, now_ns);
  return static_cast<uint32_t>(std::min<uint64_t>(lap_ns / 1000, UINT32_MAX));
}

}  // namespace orventa
