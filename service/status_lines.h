// The answer to STATS: the engine's state and the service's own as lines of
// key=value. Any thread; building it also logs what pictures are encoded with
// whenever that has changed, so only one thread may ask: the control channel's.
#pragma once

#include <string>

namespace orventa {

struct ServiceState;

std::string StatusLines(ServiceState& state);

}  // namespace orventa
