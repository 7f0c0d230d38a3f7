// When a captured window is left for another one.
#include "video/target_watch.h"

#include <gtest/gtest.h>

#include "tests/fakes/fake_targets.h"

namespace orventa {
namespace {

constexpr uint32_t kFps = 60;

FoundTarget Target(uint64_t window, size_t list_index, bool any_game) {
  FoundTarget target = FakeTargets::Window(window, "w" + std::to_string(window));
  target.list_index = list_index;
  target.any_game = any_game;
  return target;
}

// Seconds until the watch switches; -1: not within ten.
int SwitchesAfter(TargetWatch& watch, bool recording = false) {
  for (uint64_t slot = 0; slot < 10 * kFps; ++slot) {
    const uint64_t now_ns = slot * kNsPerSecond / kFps;
    if (watch.WatchWindow(slot, now_ns, recording)) {
      return static_cast<int>(now_ns / kNsPerSecond);
    }
  }
  return -1;
}

TEST(TargetWatch, LeavesAWindowOnlyWhenItsEntryAllows) {
  constexpr uint64_t kCurrent = 7;
  constexpr uint64_t kOther = 8;
  struct Case {
    const char* what;
    bool current_any_game;
    bool minimised;
    bool recording;
    FoundTarget other;  // what the list says when no window is favoured
    uint64_t in_front;
    int expected;
  };
  const Case cases[] = {
      {"a game behind another", true, false, false, Target(kOther, 1, true), kOther, 3},
      {"a game in front", true, false, false, Target(kOther, 1, true), kCurrent, -1},
      {"a game behind, while it is recorded", true, false, true, Target(kOther, 1, true), kOther,
       -1},
      {"a game behind what only covers its monitor", true, false, false, Target(kOther, 1, true), 9,
       -1},
      {"a game behind a window of the same entry or a higher one", true, false, false,
       Target(kOther, 0, false), 9, 3},
      {"a game behind a window of a lower entry", true, false, false, Target(kOther, 2, false),
       kOther, -1},
      {"a game behind, itself the answer", true, false, false, Target(kCurrent, 1, true), 9, -1},
      {"a game behind, a display the answer", true, false, false, FakeTargets::Monitor(), 9, -1},
      {"a named window behind", false, false, false, Target(kOther, 1, false), kOther, -1},
      {"a named window, minimised", false, true, false, Target(kOther, 1, false), 0, 3},
      {"a named window, minimised, while it is recorded", false, true, true,
       Target(kOther, 1, false), 0, 3},
  };
  for (const Case& row : cases) {
    FakeTargets targets;
    FoundTarget current = Target(kCurrent, 1, row.current_any_game);
    targets.found = current;
    targets.without_claim = row.other;
    targets.foreground = row.in_front;
    if (row.minimised) targets.minimised.insert(kCurrent);
    TargetWatch watch(targets, targets, current, kFps);
    EXPECT_EQ(SwitchesAfter(watch, row.recording), row.expected) << row.what;
  }
}

TEST(TargetWatch, CountsThreeSecondsOfTheSameAnswer) {
  FakeTargets targets;
  FoundTarget current = Target(7, 0, true);
  targets.found = current;
  TargetWatch watch(targets, targets, current, kFps);
  // One answer a second: window 8, 9 or none; the switch comes with the fourth of a row.
  const uint64_t answers[] = {8, 8, 8, 9, 9, 9, 0, 9, 9, 9, 9};
  uint64_t slot = 0;
  for (size_t i = 0; i < std::size(answers); ++i) {
    targets.without_claim.reset();
    targets.found.reset();
    if (answers[i] != 0) targets.without_claim = Target(answers[i], 0, true);
    targets.foreground = answers[i];
    bool switched = false;
    for (uint32_t n = 0; n < kFps; ++n, ++slot) {
      switched = watch.WatchWindow(slot, slot * kNsPerSecond / kFps, false) || switched;
    }
    EXPECT_EQ(switched, i + 1 == std::size(answers)) << "after " << i + 1 << " s";
  }
}

}  // namespace
}  // namespace orventa
