// Everything that the service knows while it runs, in one record on the stack of
// RunService. The main thread owns it; what other threads touch is atomic or
// guarded by the lock named beside it. Hotkeys, tray, window link, exports and
// the game sources hang their own parts here.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "base/message_loop.h"
#include "base/mutex.h"
#include "library/library.h"
#include "service/background_work.h"
#include "service/channel/channel.h"
#include "service/messages.h"
#include "service/notices.h"
#include "service/platform.h"
#include "service/repair.h"
#include "service/run_options.h"
#include "settings/config.h"
#include "video/replay_engine.h"

namespace orventa {

struct SaveRequest {
  uint32_t seconds = 0;  // 0: the whole replay
  bool is_clip = false;  // the shorter save
};

// Saves and their counts. One save is written at a time, one request may wait.
struct SavingState {
  Mutex lock;
  bool saving ORVENTA_GUARDED_BY(lock) = false;
  std::optional<SaveRequest> waiting ORVENTA_GUARDED_BY(lock);
  bool last_is_clip ORVENTA_GUARDED_BY(lock) = false;
  std::string last_save_message ORVENTA_GUARDED_BY(lock);  // why it failed, for the user
  std::string last_save_folder ORVENTA_GUARDED_BY(lock);   // name only; empty: none
  std::string last_saved_path ORVENTA_GUARDED_BY(lock);

  std::atomic<uint32_t> saves_begun = 0;
  std::atomic<uint32_t> saves_done = 0;
  std::atomic<uint32_t> saves_failed = 0;
  std::atomic<uint32_t> files_written = 0;  // since the start, of every kind
  std::atomic<uint32_t> screenshots_pending = 0;
  std::atomic<uint32_t> screenshots_done = 0;
  std::atomic<uint32_t> screenshots_failed = 0;
};

// The save that game events ask for, open until things have been quiet for a while.
struct EventSave {
  std::string game;
  uint64_t first_event_ns = 0;  // steady clock
  uint64_t last_event_ns = 0;
  bool whole_replay = false;
};

// What the last pass saw of the engine, so that only changes are told.
struct SeenByPass {
  bool no_encoder = false;
  bool drive_nearly_full = false;
  bool replay_disk_failed = false;
  uint32_t history_resets = 0;
  uint32_t finished_recording = 0;  // the number of the newest one
  std::string microphone_trouble;
  std::string microphone_told;      // the trouble that the user heard of last
  uint64_t microphone_told_ns = 0;  // steady clock
  uint32_t sound_stint = 0;         // the newest device that the log knows of
  uint32_t ticks = 0;
};

// What STATS said last about how pictures are encoded. Control thread.
struct StatusLogMemory {
  std::string encoding;
};

// A run with settings of its own, which the window asks the user for.
enum class CustomRun : uint32_t { None, Replay, Recording };
const char* CustomRunWord(CustomRun run);  // "", "replay", "recording"

inline constexpr size_t kHotkeyActionCount = 14;

struct ServiceState {
  ServiceState(Platform& with, RunOptions run, std::unique_ptr<ISingleInstance> held)
      : platform(with), clock(with.clock), options(std::move(run)), instance(std::move(held)) {}

  Platform& platform;
  IClock& clock;
  const RunOptions options;
  std::unique_ptr<ISingleInstance> instance;
  uint64_t started_ns = 0;  // steady clock

  std::unique_ptr<IMessageLoop> loop;    // the hidden window; must outlive all threads
  std::unique_ptr<ReplayEngine> engine;  // made once, never replaced

  Mutex config_lock;  // after settings_lock
  Config config ORVENTA_GUARDED_BY(config_lock);
  Config config_of_file ORVENTA_GUARDED_BY(config_lock);  // without the command line's settings
  GameList game_list ORVENTA_GUARDED_BY(config_lock);
  std::string config_path;
  std::string game_list_path;
  // Last-write stamps as last seen; 0: the file is not there.
  std::atomic<uint64_t> config_stamp = 0;
  std::atomic<uint64_t> game_list_stamp = 0;
  bool reload_pending = false;          // a stamp moved, the file has not been read again
  std::atomic<bool> own_write = false;  // the service itself has just written one of them

  bool hotkeys_suspended = false;
  std::array<std::optional<uint64_t>, kHotkeyActionCount + 1> action_ran_ns;  // by HotkeyAction

  SavingState saves;
  std::optional<EventSave> event_save;

  std::atomic<bool> window_connected = false;
  std::atomic<bool> window_said_hello = false;
  std::atomic<bool> window_exit_seen = false;
  std::atomic<uint64_t> window_handle = 0;

  NoticeList notices;
  std::atomic<CustomRun> custom_request = CustomRun::None;  // until the window collects it

  SeenByPass seen;
  StatusLogMemory status_log;
  std::shared_ptr<void> held_config_folder;
  std::shared_ptr<void> held_program_folder;

  std::unique_ptr<Library> library;  // from the start on
  RepairState repairs;

  // Gone in the reverse order: first nobody asks any more, then the threads are
  // waited for, and only then goes what all of them use.
  BackgroundWork library_work{clock, "library"};
  BackgroundWork repair_work{clock, "repair"};
  std::unique_ptr<IThread> save_thread;
  std::array<std::unique_ptr<IChannelServer>, 3> channels;  // by ChannelKind
  std::array<bool, 3> channel_failure_told = {};
};

// The record of this process: null before it exists and after a clean exit. For
// whatever is called by the system and is handed nothing.
ServiceState* CurrentService();
void PublishService(ServiceState* state);

Config CopyConfig(ServiceState& state);
GameList CopyGameList(ServiceState& state);

}  // namespace orventa
