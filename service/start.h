// The start of the service, in two stretches: up to holding the lock of the one
// instance, and from there to the running loop. Main thread.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "service/platform.h"
#include "service/run_options.h"

namespace orventa {

struct ServiceState;

// What the first stretch leaves for the rest of the run.
struct Beginning {
  RunOptions options;
  uint64_t started_ns = 0;  // steady clock
  std::unique_ptr<ISingleInstance> instance;
};

// Both: an exit code when this run is over already.
std::optional<int> BeginRun(Platform& platform, std::span<const std::string> arguments,
                            Beginning& beginning);
std::optional<int> StartService(ServiceState& state);

}  // namespace orventa
