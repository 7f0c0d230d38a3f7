// The numbers by which the main thread is reached: posted messages, timers and
// the commands of the tray's menu. Any thread may post; the main thread handles
// (main_handler.cpp). The values are the numbers under which the window process
// and the desktop know them.
#pragma once

#include <cstdint>

namespace orventa {

// What `value` and the record of a message mean stands behind each row. A record
// of another type than the row says is dropped.
enum class ServiceMessage : uint32_t {
  TrayEvent = 1,        // the tray icon's own events
  SaveEnded = 2,        // a save thread is done; value 1: the clip was written
  SettingsChanged = 3,  // read the settings and the game list again now
  UpdateCheckEnded = 4,
  InstallUpdate = 5,
  DevicesChanged = 6,  // controllers and their pressed buttons
  ReadDevices = 7,     // look at the controllers again
  ShowNotice = 8,      // NoticeMessage
  SwitchProfile = 9,
  DeckSettings = 10,
  DeckPushToTalk = 12,  // value: held
  RehearseCrash = 13,
  CheckHotkeyMethod = 14,  // another window came to the front
  ExportEnded = 15,
  EventSave = 16,      // value: an EventSaveRequest
  ShutdownBlock = 17,  // value: raise or lower the reason not to shut down yet
  RepairEnded = 18,    // RepairFindings
  // The two that come from menus, keys and control calls; the value is a
  // TrayCommand, or a HotkeyAction.
  Command = 100,
  Hotkey = 101,
};

enum class EventSaveRequest : uint64_t { Clip = 0, WholeReplay = 1, FlushNow = 2 };

enum class ServiceTimer : uint32_t {
  Pass = 1,            // the pass of pass.cpp
  TrayHover = 2,       // while the cursor is over the taskbar
  HeldKeys = 3,        // while a binding is held
  EventSaveFlush = 4,  // once, after the last game event that wants a save
  KeyPolling = 5,
  NoticeQueue = 6,
};

inline constexpr uint32_t kPassPeriodMs = 1000;
inline constexpr uint32_t kEventSaveFlushMs = 3000;

enum class TrayCommand : uint64_t {
  SaveReplay = 100,
  SaveClip = 101,
  TogglePause = 102,
  ToggleRecording = 103,
  Screenshot = 104,
  AddMarker = 105,
  OpenReplayFolder = 106,
  OpenWindow = 107,
  EditGameList = 108,
  Exit = 109,
  CustomReplay = 110,
  CustomRecording = 111,
  ToggleAudio = 112,
  ToggleMicrophone = 113,
  ToggleMicrophoneMono = 114,
  OpenReplays = 115,
  OpenRecordings = 116,
  OpenScreenshots = 117,
  MicrophoneLouder = 118,
  MicrophoneQuieter = 119,
  PlayLastSaved = 120,
  StartRecording = 121,
  StopRecording = 122,
  OpenLibraryPage = 123,
  OpenSettingsPage = 124,
  ResumeReplay = 125,
  StopReplay = 126,
};

}  // namespace orventa
