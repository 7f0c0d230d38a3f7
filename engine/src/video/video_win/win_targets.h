// The windows and displays of this desktop, and how one window stands. Asks only
// for what the system itself keeps about a window, never the window: a program
// that hangs holds nobody up. Any thread; every call that measures does so in
// true pixels, whatever the process has declared about scaling.
#pragma once

#include <cstdint>
#include <string>

#include "base/clock.h"
#include "base/status.h"
#include "games/targets/desktop.h"
#include "video/targets.h"
#include "video/video_win/process_paths.h"
#include "video/video_win/win_displays.h"

namespace orventa {

class WinTargets final : public IDesktopRows, public IWindowWatch {
 public:
  // Both must outlive this.
  WinTargets(IClock& clock, IKnownGames& known_games)
      : known_games_(known_games), displays_(clock) {}

  Status TakeSnapshot(DesktopSnapshot& out) override;

  // A window that is gone is hidden.
  bool IsHiddenOrMinimised(uint64_t window) override;
  bool IsForeground(uint64_t window) override;
  void ReadTitle(uint64_t window, std::string& title) override;

 private:
  IKnownGames& known_games_;
  ProcessPaths paths_;
  WinDisplays displays_;
};

}  // namespace orventa
