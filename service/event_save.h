// Saves that game events ask for: a burst of events makes one clip that reaches
// back over all of them. Main thread.
#pragma once

#include "service/messages.h"

namespace orventa {

struct ServiceState;

void OnEventSaveRequest(ServiceState& state, EventSaveRequest request);

// Ends the open event save and asks for the clip. Nothing without one.
void FlushEventSave(ServiceState& state);
// Only when its last event lies far enough back, or its game is not the target
// any more.
void FlushQuietEventSave(ServiceState& state);
void FlushEventSaveOfGoneGame(ServiceState& state);

}  // namespace orventa
