#include "video/engine.h"

#include <algorithm>
#include <utility>

#include "base/log.h"
#include "video/clip_saver.h"
#include "video/engine_run.h"

namespace orventa {
namespace {

Status NotRunning() {
  return {StatusCode::InvalidArgument, "engine is not running"};
}

Status NotHereYet(const char* what) {
  return {StatusCode::Unsupported, std::string(what) + " are not here yet"};
}

}  // namespace

Engine::Engine(const EnginePlatform& platform, const KnownFolders& folders, const Config& config,
               const GameList& game_list)
    : core_(platform, folders, config) {
  platform.targets.SetGameList(game_list, FindPolicyOf(config));
}

Engine::~Engine() {
  Stop();
}

Status Engine::Start() {
  if (started_.exchange(true)) return {};
  core_.orders.stop_requested = false;
  core_.session.Begin();
  // The thread tries again; here it only tells the caller early whether anything on
  // this machine can encode.
  if (const Status device = core_.device.Obtain(core_.session.Effective().adapter); !device.ok()) {
    LogWarning("no graphics device yet: %s", device.ToString().c_str());
  }
  core_.status.Update(
      [&](EngineSnapshot& record) { record.no_encoder = core_.device.no_encoder(); });
  thread_ = core_.clock().StartThread("engine", ThreadPriority::FrameClock, [this] {
    const EngineSwitches switches = EngineSwitches::FromEnvironment();
    EngineRun(core_, switches).Run();
  });
  return {};
}

void Engine::Stop() {
  if (!started_) return;
  core_.orders.Set(core_.orders.stop_requested, true);
  thread_->Join();
  thread_.reset();
  core_.session.End();
  core_.status.ForgetPackets();
  core_.status.ClearTarget();
  started_ = false;
}

bool Engine::IsRunning() const {
  return started_;
}

void Engine::SetPaused(bool paused) {
  const bool was_paused = core_.orders.paused;
  if (was_paused && !paused) core_.orders.clear_requested = true;
  core_.orders.Set(core_.orders.paused, paused);
}

bool Engine::IsPaused() const {
  return core_.orders.paused;
}

Status Engine::StartRecording(std::string& path) {
  if (!started_) return NotRunning();
  if (HasNoEncoder() && !IsRecording()) {
    return {StatusCode::NoEncoder, "no video encoder to record with"};
  }
  return core_.recorder.Start(core_.status.Read(core_.clock().SteadyNs()).target_window, path);
}

Status Engine::StopRecording(std::string& path) {
  return core_.recorder.Stop(path);
}

bool Engine::IsRecording() const {
  return core_.recorder.Wanted();
}

Status Engine::TakeScreenshot(std::string&) {
  return NotHereYet("screenshots");
}
bool Engine::ToggleWebcam() {
  return false;
}

// Presses wait for the press log, which is not here yet; nothing is kept of them.
void Engine::AddPresses(const std::vector<PressRecord>&) {}
void Engine::SetPressLogging(bool, uint32_t) {}

void Engine::SetPushToTalkHeld(bool held) {
  core_.orders.push_to_talk_held = held;
}

Status Engine::CheckMarkable() const {
  if (!started_) return NotRunning();
  if (!core_.status.IsCapturing(core_.clock().SteadyNs())) {
    return {StatusCode::InvalidArgument, "nothing is being captured"};
  }
  return {};
}

Status Engine::AddMarker(size_t& count) {
  if (Status status = CheckMarkable(); !status.ok()) return status;
  count = core_.session.AddMarker(core_.status.NewestPts());
  return {};
}

Status Engine::AddGameEvent(ClipEvent event, size_t& count) {
  if (Status status = CheckMarkable(); !status.ok()) return status;
  event.pts = core_.status.NewestPts();
  count = core_.session.AddEvent(std::move(event));
  return {};
}

Status Engine::SaveReplay(uint32_t seconds, std::string& path) {
  ClipSources sources = core_.session.SourcesForClip(seconds);
  const EngineSnapshot status = core_.status.Read(core_.clock().SteadyNs());
  sources.no_encoder = HasNoEncoder();
  sources.target_name = status.target_name;
  sources.target_title = status.target_description;
  sources.target_is_window = status.target_is_window;

  SavedClip saved;
  if (Status result = SaveClip(sources, core_.folders, core_.clock(), saved); !result.ok()) {
    return result;
  }
  path = saved.path;
  NoteSavedFile(saved);
  return {};
}

void Engine::NoteSavedFile(const SavedClip& saved) {
  if (!saved.fallback.empty()) LogWarning("%s", saved.fallback.c_str());
  core_.status.Update([&](EngineSnapshot& record) {
    record.saved_elsewhere = saved.fallback.empty() ? std::string() : saved.folder;
    record.saved_elsewhere_reason = saved.fallback;
  });
}

void Engine::SetSessionOverrides(std::vector<std::pair<std::string, std::string>> overrides) {
  const SessionState::Outcome outcome = core_.session.SetSession(std::move(overrides));
  if (outcome.history_lost) {
    core_.status.Update([](EngineSnapshot& record) { ++record.history_resets; });
  }
  core_.orders.sound_changed = true;
  core_.orders.Set(core_.orders.restart_requested, true);
}

void Engine::ClearHistory() {
  core_.orders.Set(core_.orders.clear_requested, true);
}

Status Engine::ApplySettings(const Config& config, const GameList& game_list) {
  const WishesChange wishes = core_.platform.targets.SetGameList(game_list, FindPolicyOf(config));
  const SessionState::Outcome outcome = core_.session.SetBase(config);
  if (outcome.history_lost) {
    core_.status.Update([](EngineSnapshot& record) { ++record.history_resets; });
  }
  if (outcome.change.sound) core_.orders.sound_changed = true;
  if (wishes == WishesChange::Policy) core_.orders.target_in_doubt = true;
  // Nothing takes a change of the camera yet.
  if (outcome.change.restart || wishes == WishesChange::List) {
    core_.orders.Set(core_.orders.restart_requested, true);
  }
  return {};
}

bool Engine::HasNoEncoder() const {
  return core_.device.no_encoder();
}

void Engine::RetryEncoder() {
  core_.orders.Set(core_.orders.retry_encoder, true);
}

void Engine::NotifySuspending() {
  core_.orders.suspended_at_ns = core_.clock().SteadyNs();
  core_.orders.Set(core_.orders.suspended, true);
}

void Engine::NotifyResumed() {
  core_.orders.Set(core_.orders.suspended, false);
}

EngineSnapshot Engine::GetStatus() const {
  EngineSnapshot snapshot = core_.status.Read(core_.clock().SteadyNs());
  snapshot.running = started_;
  snapshot.paused = core_.orders.paused;
  core_.recorder.Fill(snapshot);
  snapshot.capturing =
      snapshot.capturing && snapshot.running && (!snapshot.paused || snapshot.recording);
  snapshot.session_overrides = core_.session.HasSessionOverrides();
  const SessionState::Lengths lengths = core_.session.InForce();
  snapshot.replay_seconds = lengths.replay;
  snapshot.clip_seconds = lengths.clip;
  if (const std::shared_ptr<ReplayBuffer> history = core_.session.history()) {
    const ReplayBufferStats stats = history->Stats();
    snapshot.buffered_bytes = stats.bytes;
    snapshot.buffered_seconds = static_cast<double>(stats.span_ns) / 1e9;
    snapshot.buffer_on_disk = stats.on_disk;
    snapshot.buffer_disk_failures = stats.disk_failures;
  }
  return snapshot;
}

EngineLevels Engine::Levels() const {
  return core_.status.sound_levels().Read();
}

std::string Engine::ExplainTarget() const {
  return core_.platform.targets.Explain(core_.status.Read(core_.clock().SteadyNs()).target_window);
}

Config Engine::GetSettings() const {
  return core_.session.Effective();
}

std::unique_ptr<ReplayEngine> MakeEngine(const EnginePlatform& platform,
                                         const KnownFolders& folders, const Config& config,
                                         const GameList& game_list) {
  return std::make_unique<Engine>(platform, folders, config, game_list);
}

}  // namespace orventa
