// What the user and the log hear of sound: a microphone that cannot be had, the
// devices that the system's sound comes from. Main thread.
#pragma once

#include "video/replay_engine.h"

namespace orventa {

struct ServiceState;

void WatchMicrophone(ServiceState& state, const EngineSnapshot& snapshot);
void TellSoundDevices(ServiceState& state, const EngineSnapshot& snapshot);

}  // namespace orventa
