// The decision what to capture: game list and desktop in, one window or display
// out. Pure; any thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "base/status.h"
#include "games/targets/desktop.h"
#include "games/targets/game_list.h"
#include "settings/config.h"

namespace orventa {

struct FindPolicy {
  MaximizedAsGame maximized_as_game = MaximizedAsGame::Never;
  bool windowed_as_game = true;

  bool operator==(const FindPolicy&) const = default;
};
FindPolicy FindPolicyOf(const Config& config);

struct CaptureSource {
  enum class Kind : uint32_t { MainDisplay = 0, Monitor = 1, Window = 2 };
  Kind kind = Kind::MainDisplay;
  uint64_t handle = 0;      // monitor or window
  std::string description;  // for people: title, or display name and size
  size_t entry_index = 0;   // the entry of the list that matched

  bool operator==(const CaptureSource&) const = default;
};

// NoTarget, "nothing on the capture target list is currently open", when nothing
// matches. `current_target`: the window captured now, or 0; it keeps its claim
// while it is in the background.
Status ResolveCaptureSource(const GameList& list, const FindPolicy& policy,
                            const DesktopSnapshot& desktop, uint64_t current_target,
                            CaptureSource& out);

// The same decision told in full, for whoever wonders why the wrong window is
// captured: a line a row of the desktop and a line an entry, the winner marked.
std::string ExplainCaptureSource(const GameList& list, const FindPolicy& policy,
                                 const DesktopSnapshot& desktop, uint64_t current_target);

// Whether any-game may take this program at all.
bool EligibleForAnyGame(const std::string& exe_path, const std::string& window_class);

}  // namespace orventa
