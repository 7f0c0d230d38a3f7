// What the user can ask for by key, menu or control call, each by its number.
// Main thread.
#pragma once

#include <cstdint>
#include <string>

#include "service/messages.h"

namespace orventa {

struct ServiceState;

// The numbers are those of the hotkey settings.
enum class HotkeyAction : uint64_t {
  SaveReplay = 1,
  SaveClip = 2,
  TogglePause = 3,
  ToggleRecording = 4,
  Screenshot = 5,
  CustomReplay = 6,
  CustomRecording = 7,
  ToggleAudio = 8,
  ToggleMicrophone = 9,
  ToggleMicrophoneMono = 10,
  MicrophoneLouder = 11,
  MicrophoneQuieter = 12,
  AddMarker = 13,
  ToggleWebcam = 14,
};

// Drops a press that follows the same action's last too closely. Numbers that
// are no action do nothing.
void RunHotkeyAction(ServiceState& state, HotkeyAction action);
void RunTrayCommand(ServiceState& state, TrayCommand command);

void ToggleBufferPause(ServiceState& state);
void ToggleRecording(ServiceState& state);

// Starts the window process, or has it come to the front. Without one, opens the
// settings file.
void OpenWindow(ServiceState& state, const std::string& arguments);

// Ends the service in the ordinary way.
void EndService(ServiceState& state);

}  // namespace orventa
