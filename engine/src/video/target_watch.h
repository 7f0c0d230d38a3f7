// Keeps an eye on the target while it is captured: whether its window is hidden,
// whether the user has turned to another game for good, and whether something with
// a better place on the game list has opened. Engine thread, once a slot.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "base/clock.h"
#include "video/targets.h"

namespace orventa {

class TargetWatch {
 public:
  // Another window must be the answer for this long before it is switched to.
  static constexpr uint64_t kSwitchAfterNs = 3'000'000'000;

  TargetWatch(ITargetFinder& finder, IWindowWatch& windows, FoundTarget& current, uint32_t fps)
      : finder_(finder), windows_(windows), current_(current), fps_(fps) {}

  // Window targets: looks at the window, and once a second of slots for another one
  // in its stead. True when it is time to switch. A recording keeps what was taken
  // for a game from being left for another.
  bool WatchWindow(uint64_t slot, uint64_t now_ns, bool recording);
  // Whether the list now names a better target; a better place of the same one is
  // only taken over.
  bool BetterTargetOpened();
  // Whether the list now names another target or none, better or not.
  bool LostItsClaim();

  bool minimised() const { return minimised_; }
  // The window's title, when it has changed since the last call. Reuses its memory.
  bool ReadNewTitle(const std::string** title);

 private:
  bool MayTakeOver(const FoundTarget& candidate);

  ITargetFinder& finder_;
  IWindowWatch& windows_;
  FoundTarget& current_;
  const uint32_t fps_;
  bool minimised_ = false;
  uint64_t next_look_slot_ = 0;
  struct Candidate {
    uint64_t window = 0;
    uint64_t since_ns = 0;  // steady clock
  };
  std::optional<Candidate> candidate_;
  FoundTarget found_;  // reused from look to look
  std::string title_;
  std::string shown_title_;
};

}  // namespace orventa
