// A desktop with knobs: what the game list finds, which window is in front, which
// are minimised. A test changes them at chosen moments of the fake clock.
#pragma once

#include <functional>
#include <optional>
#include <set>
#include <string>

#include "video/targets.h"

namespace orventa {

class FakeTargets final : public ITargetFinder, public IWindowWatch {
 public:
  WishesChange SetGameList(const GameList& new_list, const FindPolicy& new_policy) override {
    const WishesChange change = list != new_list       ? WishesChange::List
                                : policy != new_policy ? WishesChange::Policy
                                                       : WishesChange::None;
    list = new_list;
    policy = new_policy;
    return change;
  }
  Status Find(uint64_t current_window, FoundTarget& out) override {
    ++finds;
    last_current_window = current_window;
    const std::optional<FoundTarget>& answer =
        current_window == 0 && without_claim ? without_claim : found;
    if (!answer) {
      return {StatusCode::NoTarget, "nothing on the capture target list is currently open"};
    }
    out = *answer;
    return {};
  }
  std::string Explain(uint64_t) override { return "told\n"; }
  bool IsHiddenOrMinimised(uint64_t window) override { return minimised.contains(window); }
  bool IsForeground(uint64_t window) override { return foreground == window; }
  void ReadTitle(uint64_t, std::string& title) override {
    if (!window_title.empty()) title = window_title;
  }

  static FoundTarget Window(uint64_t window, std::string name) {
    FoundTarget target;
    target.target = {.kind = CaptureTarget::Kind::Window, .window = window};
    target.description = name + " window";
    target.path = "/games/" + name;
    target.name = std::move(name);
    return target;
  }
  static FoundTarget Monitor() {
    FoundTarget target;
    target.description = "Display: 640x360 (Primary Monitor)";
    return target;
  }
  // The window is open and in front.
  void Show(const FoundTarget& target) {
    found = target;
    foreground = target.target.window;
  }

  // Knobs.
  std::optional<FoundTarget> found;
  std::optional<FoundTarget> without_claim;  // when no window is favoured, if different
  uint64_t foreground = 0;
  std::set<uint64_t> minimised;
  std::string window_title;

  // What was given.
  GameList list;
  FindPolicy policy;

  // Counters.
  int finds = 0;
  uint64_t last_current_window = 0;
};

}  // namespace orventa
