// Finds the target on a live desktop: takes its rows, has the game list decide,
// and gives the engine what it needs of the answer. Any thread.
#pragma once

#include <memory>
#include <string>

#include "base/mutex.h"
#include "games/targets/desktop.h"
#include "games/targets/find_game.h"
#include "video/targets.h"

namespace orventa {

class GameFinder final : public ITargetFinder {
 public:
  // `rows` must outlive the finder.
  explicit GameFinder(IDesktopRows& rows);

  WishesChange SetGameList(const GameList& list, const FindPolicy& policy) override;
  Status Find(uint64_t current_window, FoundTarget& out) override;
  std::string Explain(uint64_t current_window) override;

 private:
  struct Wishes {
    GameList list;
    FindPolicy policy;
  };
  std::shared_ptr<const Wishes> wishes() const;

  IDesktopRows& rows_;
  mutable Mutex mutex_;
  std::shared_ptr<const Wishes> wishes_ ORVENTA_GUARDED_BY(mutex_);
  // The rows of one question, taken along to the next for their memory.
  std::unique_ptr<DesktopSnapshot> idle_ ORVENTA_GUARDED_BY(mutex_);
};

// What a captured window is called: in saves' folders, in the status, and to tell one
// target from the next. It does not follow the title, but where nothing else is known
// of a window. Empty for a display (no window).
std::string TargetName(const CaptureTargetEntry& entry, const WindowInfo* window);

}  // namespace orventa
