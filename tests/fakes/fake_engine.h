// An engine that captures nothing: its status is what the test says, its saves
// take as long and end as the test says, and it writes down what it is asked.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "base/clock.h"
#include "base/mutex.h"
#include "video/replay_engine.h"

namespace orventa {

class FakeEngine final : public ReplayEngine {
 public:
  struct SaveSeen {
    uint32_t seconds = 0;
    uint64_t began_ns = 0;  // steady clock
    bool operator==(const SaveSeen&) const = default;
  };
  // What a save does when its time is over; may throw.
  using SaveEnd = std::function<Status(std::string& path)>;

  // `journal` hears every order; it must outlive the engine.
  FakeEngine(IClock& clock, std::function<void(std::string)> journal);

  // What it was made with; ApplySettings replaces both.
  void SetSettings(const Config& config, const GameList& game_list);
  GameList game_list() const;
  void ChangeStatus(const std::function<void(EngineSnapshot&)>& change);
  void SetSaves(uint64_t take_ns, SaveEnd end);
  // How recordings begin and end from now on.
  void SetRecordings(Status begin, Status end);
  // For a save that is to take kForever.
  void ReleaseSaves();
  std::vector<SaveSeen> Saves() const;

  Status Start() override;
  void Stop() override;
  bool IsRunning() const override;
  void SetPaused(bool paused) override;
  bool IsPaused() const override;
  Status StartRecording(std::string& path) override;
  Status StopRecording(std::string& path) override;
  bool IsRecording() const override;
  Status AddMarker(size_t& count) override;
  Status AddGameEvent(ClipEvent event, size_t& count) override;
  void AddPresses(const std::vector<PressRecord>& presses) override;
  void SetPressLogging(bool on, uint32_t value) override;
  Status TakeScreenshot(std::string& path) override;
  Status SaveReplay(uint32_t seconds, std::string& path) override;
  void SetSessionOverrides(std::vector<std::pair<std::string, std::string>> overrides) override;
  void ClearHistory() override;
  void SetPushToTalkHeld(bool held) override;
  bool ToggleWebcam() override;
  Status ApplySettings(const Config& config, const GameList& game_list) override;
  bool HasNoEncoder() const override;
  void RetryEncoder() override;
  void NotifySuspending() override;
  void NotifyResumed() override;
  EngineSnapshot GetStatus() const override;
  EngineLevels Levels() const override { return {0.5F, 0.25F, true}; }
  std::string ExplainTarget() const override;
  Config GetSettings() const override;

 private:
  IClock& clock_;
  std::function<void(std::string)> journal_;
  mutable Mutex mutex_;
  std::unique_ptr<IWaitPoint> released_point_;
  EngineSnapshot status_ ORVENTA_GUARDED_BY(mutex_);
  Config config_ ORVENTA_GUARDED_BY(mutex_);
  GameList game_list_ ORVENTA_GUARDED_BY(mutex_);
  uint64_t save_takes_ns_ ORVENTA_GUARDED_BY(mutex_) = 0;
  SaveEnd save_end_ ORVENTA_GUARDED_BY(mutex_);
  Status recording_begins_ ORVENTA_GUARDED_BY(mutex_);
  Status recording_ends_ ORVENTA_GUARDED_BY(mutex_);
  bool released_ ORVENTA_GUARDED_BY(mutex_) = false;
  std::vector<SaveSeen> saves_ ORVENTA_GUARDED_BY(mutex_);
};

}  // namespace orventa
