// The displays of the desktop, in the order in which the system lists them. Any
// thread, in PhysicalPixels.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "base/clock.h"
#include "base/mutex.h"
#include "base/status.h"
#include "games/targets/desktop.h"

namespace orventa {

class WinDisplays {
 public:
  // The clock must outlive this.
  explicit WinDisplays(IClock& clock) : clock_(clock) {}

  Status Read(std::vector<DisplayInfo>& out);

 private:
  struct Named {
    std::vector<DisplayInfo> displays;
    uint64_t stale_at_ns = 0;
  };
  std::shared_ptr<const Named> NameAll(std::vector<DisplayInfo> displays, const Named* before);

  IClock& clock_;
  Mutex mutex_;
  std::shared_ptr<const Named> last_ ORVENTA_GUARDED_BY(mutex_);
};

// "\\?\DISPLAY#MSI3CB1#5&2ab2d1a4&0&UID4353#{guid}", the path of a monitor's device
// interface, as game lists write it: "DISPLAY\MSI3CB1\5&2ab2d1a4&0&UID4353".
std::string StableMonitorId(std::string_view interface_path);

}  // namespace orventa
