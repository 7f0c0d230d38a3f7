// The engine as the service sees it: one long-lived object that is given orders
// and tells its state. Operations never touch the pipeline: they set flags and
// take short locks. Main thread unless a line says otherwise.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "base/status.h"
#include "games/targets/game_list.h"
#include "settings/config.h"
#include "sound/capture.h"
#include "video/sound_levels.h"
#include "video/timeline_notes.h"

namespace orventa {

// What became of one file of a recording, which may have several: when the picture has
// to be built anew underneath it, it goes on in another.
struct FinishedRecording {
  uint32_t number = 0;  // counts up over all files of this engine, from 1
  // Ok: the file is whole. InvalidArgument: nothing came in time to be recorded, and no
  // file is left. Else it could not be written; what had been written by then is left
  // to the repair of interrupted recordings.
  Status result;
  std::string path;
  std::string name;      // what was recorded: a game, or "Monitor"
  std::string folder;    // of recordings, without the game's own
  std::string fallback;  // why that is another folder than the user's; empty when it is not

  bool operator==(const FinishedRecording&) const = default;
};

// The engine's state as values. "None" is empty or 0.
struct EngineSnapshot {
  bool running = false;
  bool capturing = false;  // a packet came out of the encoder lately
  bool paused = false;
  bool recording = false;        // a file is open, or the next one is about to be
  double recording_seconds = 0;  // over all files of the recording
  uint64_t recording_bytes = 0;
  std::string recording_path;     // of the newest file
  uint32_t recordings_saved = 0;  // files, since the engine was made
  uint32_t recordings_failed = 0;
  uint32_t recordings_ending = 0;  // files that their drive has not taken whole yet
  // The latest that were finished, newest last; may be null. Told once a file each.
  std::shared_ptr<const std::vector<FinishedRecording>> finished_recordings;
  uint32_t width = 0;  // what is encoded, pixels
  uint32_t height = 0;
  uint32_t fps = 0;
  uint32_t source_width = 0;  // what is captured
  uint32_t source_height = 0;
  std::string encoder_backend;
  uint32_t bitrate_kbps = 0;
  uint32_t max_bitrate_kbps = 0;
  std::string rate_control;  // the settings' word
  std::string codec;         // the settings' word
  uint32_t encoder_in_flight_max = 0;
  bool ten_bit = false;
  bool hdr = false;                // the capture is HDR
  bool hdr_output = false;         // the file is HDR
  bool microphone = false;         // it is being captured
  std::string microphone_trouble;  // as IAudioCapture::Trouble; "" also when none is wanted
  uint32_t microphone_drops = 0;   // times that some of its sound had to be left out
  // Where the system's sound has come from, newest last; may be null.
  std::shared_ptr<const std::vector<DeviceStint>> sound_devices;
  bool session_overrides = false;
  uint32_t replay_seconds = 0;  // the length in effect
  uint32_t clip_seconds = 0;    // what a clip save would write
  std::string target_description;
  std::string target_name;
  std::string target_path;
  uint64_t target_window = 0;
  bool target_is_window = false;
  bool target_custom_settings = false;
  double buffered_seconds = 0;
  uint64_t buffered_bytes = 0;
  bool buffer_on_disk = false;
  uint32_t buffer_disk_failures = 0;
  uint64_t frames_captured = 0;
  uint64_t frames_duplicated = 0;
  uint64_t slots_missed = 0;
  std::string adapter;
  uint32_t restarts = 0;
  uint32_t history_resets = 0;
  std::string saved_elsewhere;  // the folder that a save fell back to
  std::string saved_elsewhere_reason;
  bool no_target = false;
  bool no_encoder = false;
  bool drive_nearly_full = false;  // which ended the last recording
  std::string last_error;
};

// Something pressed or let go, for the overlay drawn into exports.
struct PressRecord {
  uint64_t steady_ns = 0;
  uint32_t code = 0;
  bool down = false;
};

class ReplayEngine {
 public:
  virtual ~ReplayEngine() = default;  // stops

  virtual Status Start() = 0;
  // Files that a drive does not take are given up after a while; `recordings_ending` tells
  // of them, and the destructor waits for them.
  virtual void Stop() = 0;
  virtual bool IsRunning() const = 0;
  virtual void SetPaused(bool paused) = 0;
  virtual bool IsPaused() const = 0;
  // Recordings begin and end a moment later, on the engine's thread: Ok says that it
  // will be tried. A file that is done, or that failed, is in `finished_recordings`.
  // `path` is that of the newest file. May write to the drive to find a folder.
  virtual Status StartRecording(std::string& path) = 0;
  // NoTarget, "nothing was recorded": it was ended before its file was opened.
  virtual Status StopRecording(std::string& path) = 0;
  virtual bool IsRecording() const = 0;  // one is wanted, open or not; any thread
  // `count`: how many a save of the current length would hold. Any thread.
  virtual Status AddMarker(size_t& count) = 0;
  virtual Status AddGameEvent(ClipEvent event, size_t& count) = 0;
  virtual void AddPresses(const std::vector<PressRecord>& presses) = 0;
  virtual void SetPressLogging(bool on, uint32_t value) = 0;
  virtual Status TakeScreenshot(std::string& path) = 0;
  // Save thread. `seconds` 0: the whole replay.
  virtual Status SaveReplay(uint32_t seconds, std::string& path) = 0;
  // Settings for one run, as (section.key, value).
  virtual void SetSessionOverrides(std::vector<std::pair<std::string, std::string>> overrides) = 0;
  virtual void ClearHistory() = 0;
  virtual void SetPushToTalkHeld(bool held) = 0;
  virtual bool ToggleWebcam() = 0;
  // The engine decides what it takes over live and what its pipeline is built anew for.
  virtual Status ApplySettings(const Config& config, const GameList& game_list) = 0;
  virtual bool HasNoEncoder() const = 0;
  virtual void RetryEncoder() = 0;
  virtual void NotifySuspending() = 0;
  virtual void NotifyResumed() = 0;
  virtual EngineSnapshot GetStatus() const = 0;  // any thread
  virtual EngineLevels Levels() const = 0;       // any thread; asked many times a second
  // Why this target and no other, for people. Asks the desktop; any thread.
  virtual std::string ExplainTarget() const = 0;
  virtual Config GetSettings() const = 0;  // any thread; the effective settings
};

}  // namespace orventa
