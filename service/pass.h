// The one-second pass: the whole of the service's periodic life, in one order.
// Main thread; must stay short.
#pragma once

namespace orventa {

struct ServiceState;

void RunPass(ServiceState& state);

// The engine's state as tray and log show it; also after what the user did.
void RefreshTray(ServiceState& state);

}  // namespace orventa
