// Sleep and shutdown as logind tells of them on the system bus, and the wish not
// to be shut down in mid-file. Everything is asked without waiting, from the main
// loop; without a bus or a logind the service does without.
// Main thread; must outlive the loop.
#pragma once

#include <memory>
#include <string_view>

#include "base/base_linux/message_loop.h"

namespace orventa {

class IPowerEvents {
 public:
  virtual ~IPowerEvents() = default;
  virtual void RaiseShutdownBlock(std::string_view reason) = 0;
  virtual void LowerShutdownBlock() = 0;
};

// Never null.
std::unique_ptr<IPowerEvents> WatchPowerEvents(ILinuxMessageLoop& loop);

}  // namespace orventa
