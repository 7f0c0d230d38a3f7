// What the engine asks about the desktop: which target to capture, and how its
// window stands. Engine thread; a platform's implementation is also asked by
// control calls and does its own locking.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "base/status.h"
#include "games/targets/find_game.h"
#include "video/capture.h"
#include "video/setting_overrides.h"

namespace orventa {

struct FoundTarget {
  CaptureTarget target;
  std::string name;             // a window's; empty for a display
  std::string display;          // a display's lasting name; empty for a window
  std::string description;      // for people: title, or display name and size
  std::string path;             // the program file; empty when unknown
  uint32_t pid = 0;             // of a window's process; 0: unknown
  size_t list_index = 0;        // place in the game list; a lower one wins
  bool any_game = false;        // chosen because it looks like a game
  bool record_session = false;  // its whole session is to be recorded
  SettingOverrides settings;    // in force while this target is captured

  bool IsWindow() const { return target.kind == CaptureTarget::Kind::Window; }
  // What tells one target's footage from the next one's.
  const std::string& Identity() const { return name.empty() ? display : name; }
};

// What a new game list brought. Another policy changes no entry's place and no
// target's settings, so that the target in use is only looked for again.
enum class WishesChange { None, Policy, List };

class ITargetFinder {
 public:
  virtual ~ITargetFinder() = default;
  // What to look for from now on. Any thread.
  virtual WishesChange SetGameList(const GameList& list, const FindPolicy& policy) = 0;
  // NoTarget when nothing on the list is open. `current_window` is the window
  // captured now, or 0: it keeps its claim while it is in the background.
  virtual Status Find(uint64_t current_window, FoundTarget& out) = 0;
  // The same decision told in full, for people.
  virtual std::string Explain(uint64_t current_window) = 0;
};

class IWindowWatch {
 public:
  virtual ~IWindowWatch() = default;
  virtual bool IsHiddenOrMinimised(uint64_t window) = 0;
  // Whether it is in the foreground, or what is there belongs to it.
  virtual bool IsForeground(uint64_t window) = 0;
  // Leaves `title` alone when the window has none. Reuses its memory.
  virtual void ReadTitle(uint64_t window, std::string& title) = 0;
};

}  // namespace orventa
