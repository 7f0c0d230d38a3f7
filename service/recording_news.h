// What becomes of recordings, as the user and the library hear of it. Main thread.
#pragma once

namespace orventa {

struct ServiceState;

// In the pass: what was finished since the last one, and repairs that are due.
void WatchRecordings(ServiceState& state);
// After the engine has stopped: the files that its end finished.
void TellFinishedRecordings(ServiceState& state);

}  // namespace orventa
