#include "tests/fakes/fake_engine.h"

#include <utility>

namespace orventa {
namespace {

Status NotInThisFake(const char* what) {
  return {StatusCode::Unsupported, std::string("the fake engine has no ") + what};
}

}  // namespace

FakeEngine::FakeEngine(IClock& clock, std::function<void(std::string)> journal)
    : clock_(clock), journal_(std::move(journal)), released_point_(clock.MakeWaitPoint()) {
  save_end_ = [](std::string& path) {
    path = "/clips/Some Game/clip.mp4";
    return Status::Ok();
  };
}

void FakeEngine::SetSettings(const Config& config, const GameList& game_list) {
  const MutexLock lock(mutex_);
  config_ = config;
  game_list_ = game_list;
}

GameList FakeEngine::game_list() const {
  const MutexLock lock(mutex_);
  return game_list_;
}

void FakeEngine::ChangeStatus(const std::function<void(EngineSnapshot&)>& change) {
  const MutexLock lock(mutex_);
  change(status_);
}

void FakeEngine::SetSaves(uint64_t take_ns, SaveEnd end) {
  const MutexLock lock(mutex_);
  save_takes_ns_ = take_ns;
  if (end) save_end_ = std::move(end);
}

void FakeEngine::SetRecordings(Status begin, Status end) {
  const MutexLock lock(mutex_);
  recording_begins_ = std::move(begin);
  recording_ends_ = std::move(end);
}

void FakeEngine::ReleaseSaves() {
  const MutexLock lock(mutex_);
  released_ = true;
  released_point_->NotifyAll();
}

std::vector<FakeEngine::SaveSeen> FakeEngine::Saves() const {
  const MutexLock lock(mutex_);
  return saves_;
}

Status FakeEngine::Start() {
  journal_("engine starts");
  ChangeStatus([](EngineSnapshot& status) { status.running = true; });
  return Status::Ok();
}

void FakeEngine::Stop() {
  journal_("engine stops");
  ChangeStatus([](EngineSnapshot& status) { status.running = false; });
}

bool FakeEngine::IsRunning() const {
  return GetStatus().running;
}

void FakeEngine::SetPaused(bool paused) {
  journal_(paused ? "engine pauses" : "engine goes on");
  ChangeStatus([paused](EngineSnapshot& status) { status.paused = paused; });
}

bool FakeEngine::IsPaused() const {
  return GetStatus().paused;
}

Status FakeEngine::StartRecording(std::string& path) {
  const MutexLock lock(mutex_);
  if (!recording_begins_.ok()) return recording_begins_;
  path = status_.recording_path = "/clips/Some Game/recording.mp4";
  status_.recording = true;
  return Status::Ok();
}

Status FakeEngine::StopRecording(std::string& path) {
  const MutexLock lock(mutex_);
  status_.recording = false;
  path = status_.recording_path;
  return recording_ends_;
}

bool FakeEngine::IsRecording() const {
  return GetStatus().recording;
}
Status FakeEngine::AddMarker(size_t&) {
  return NotInThisFake("markers");
}
Status FakeEngine::AddGameEvent(ClipEvent, size_t&) {
  return NotInThisFake("events");
}
void FakeEngine::AddPresses(const std::vector<PressRecord>&) {}
void FakeEngine::SetPressLogging(bool, uint32_t) {}
Status FakeEngine::TakeScreenshot(std::string&) {
  return NotInThisFake("screenshots");
}

Status FakeEngine::SaveReplay(uint32_t seconds, std::string& path) {
  SaveEnd end;
  {
    const MutexLock lock(mutex_);
    const uint64_t began_ns = clock_.SteadyNs();
    saves_.push_back({seconds, began_ns});
    const uint64_t until_ns = save_takes_ns_ == kForever ? kForever : began_ns + save_takes_ns_;
    while (!released_ && clock_.SteadyNs() < until_ns) {
      released_point_->Wait(mutex_, until_ns);
    }
    end = save_end_;
  }
  return end(path);
}

void FakeEngine::SetSessionOverrides(std::vector<std::pair<std::string, std::string>>) {}
void FakeEngine::ClearHistory() {}
void FakeEngine::SetPushToTalkHeld(bool) {}
bool FakeEngine::ToggleWebcam() {
  return false;
}

Status FakeEngine::ApplySettings(const Config& config, const GameList& game_list) {
  journal_("engine takes settings");
  SetSettings(config, game_list);
  return Status::Ok();
}

bool FakeEngine::HasNoEncoder() const {
  return GetStatus().no_encoder;
}
void FakeEngine::RetryEncoder() {
  journal_("engine looks for encoders");
}
void FakeEngine::NotifySuspending() {
  journal_("engine holds for sleep");
}
void FakeEngine::NotifyResumed() {
  journal_("engine wakes");
}

EngineSnapshot FakeEngine::GetStatus() const {
  const MutexLock lock(mutex_);
  return status_;
}

std::string FakeEngine::ExplainTarget() const {
  return "told\n";
}

Config FakeEngine::GetSettings() const {
  const MutexLock lock(mutex_);
  return config_;
}

}  // namespace orventa
