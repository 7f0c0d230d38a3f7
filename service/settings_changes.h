// The service's own changes to config.ini: what hotkeys and menus switch, and what
// the service keeps there for its next run. Main thread.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "base/thread_annotations.h"
#include "service/settings_files.h"
#include "settings/config.h"

namespace orventa {

// What a switch has to report. Empty: nothing.
struct Said {
  std::string title;
  std::string detail;
};

enum class EditResult : uint32_t { Nothing = 0, Changed = 1, Failed = 2 };

// Reads the file, has it changed and writes it back; the watch on the file takes
// that for its own. `change` says whether it changed anything, and never sees what
// the command line put over the file. Any thread.
EditResult EditConfig(ServiceState& state, const std::function<bool(Config&)>& change)
    ORVENTA_EXCLUDES(settings_lock);

// The one way in which a switch alters the settings: file, engine and user in turn.
void PersistAndApply(ServiceState& state, const std::function<Said(Config&)>& change)
    ORVENTA_EXCLUDES(settings_lock);

// For what the service itself remembers and the engine need not hear of: file and
// running copy.
void Remember(ServiceState& state, const std::function<void(Config&)>& change)
    ORVENTA_EXCLUDES(settings_lock);

// Has the main thread read again what was just written. Any thread.
void AnnounceOwnWrite(ServiceState& state);

void ToggleAudio(ServiceState& state);
void ToggleMicrophone(ServiceState& state);
void ToggleMicrophoneMono(ServiceState& state);
void ToggleWebcam(ServiceState& state);
// By so many of the user's own steps.
void AdjustMicrophoneLevel(ServiceState& state, int steps);

// Tells of an update once, and remembers the version that ran.
void TellUpdated(ServiceState& state);

}  // namespace orventa
