// The service's three control channels. Main thread.
#pragma once

namespace orventa {

struct ServiceState;

// Opens whichever channel is not open yet; tells the first failure only and tries
// again at the next call.
void OpenControlChannels(ServiceState& state);

// Waits for a request at work.
void CloseControlChannels(ServiceState& state);

}  // namespace orventa
