// The ends of the service: the ordinary one after the loop, and the one that a
// sign-out leaves time for. Main thread; both wait no longer than they say.
#pragma once

namespace orventa {

struct ServiceState;

// After the loop. Returns the exit code; ends the process itself when a thread
// is still writing that nothing may wait for any more.
int ExitService(ServiceState& state);

// The session ends: when this returns, the process may be killed.
void EndSession(ServiceState& state);

}  // namespace orventa
