// The running service and its settings files: reading them at start, watching
// them, taking over what changed. Main thread.
#pragma once

#include <optional>

#include "base/thread_annotations.h"
#include "service/settings_files.h"

namespace orventa {

struct ServiceState;

// Both leave files behind that say everything: written where there were none, and
// where a build with more settings, a repair or this machine's encoders had
// something to change. The first: an exit code when the settings stayed unreadable.
std::optional<int> ReadSettingsAtStart(ServiceState& state) ORVENTA_EXCLUDES(settings_lock);
void ReadGameListAtStart(ServiceState& state) ORVENTA_EXCLUDES(settings_lock);

// One look at the files. They are read again at the look after the one that found
// them changed, when they stood still in between; not at all when the last to
// write was the service.
void WatchSettings(ServiceState& state);

// Reads both files again and hands them to everybody. What cannot be read is told
// and changes nothing.
void Reconfigure(ServiceState& state);

// Somebody who wrote the files says so.
void OnSettingsChanged(ServiceState& state);

// Takes the files as they are now for the ones that are in force.
void TakeStamps(ServiceState& state);

}  // namespace orventa
