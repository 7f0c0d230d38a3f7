// The engine: owns its thread and takes orders for it. The only ReplayEngine.
// Made and destroyed on the main thread; `engine_run.h` is what the thread does.
#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "base/mutex.h"
#include "video/engine_core.h"
#include "video/replay_engine.h"

namespace orventa {

class Engine final : public ReplayEngine {
 public:
  // What `platform` refers to must outlive the engine.
  Engine(const EnginePlatform& platform, const KnownFolders& folders, const Config& config,
         const GameList& game_list);
  ~Engine() override;

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
  EngineLevels Levels() const override;
  std::string ExplainTarget() const override;
  Config GetSettings() const override;

 private:
  // Fine while there are packets to hang a mark on.
  Status CheckMarkable() const;
  void NoteSavedFile(const SavedClip& saved);

  EngineCore core_;
  std::atomic<bool> started_ = false;
  std::unique_ptr<IThread> thread_;
};

std::unique_ptr<ReplayEngine> MakeEngine(const EnginePlatform& platform,
                                         const KnownFolders& folders, const Config& config,
                                         const GameList& game_list);

}  // namespace orventa
