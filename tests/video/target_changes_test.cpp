#include "video/target_changes.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace orventa {
namespace {

constexpr uint64_t kSecond = 1'000'000'000;

enum class Trim { Unasked, Waiting, None };

// One pipeline start. `lost_before_s`: how long ago the window of the last step was
// lost; negative: it was not.
struct Step {
  const char* identity;
  bool is_window;
  bool after_sleep;
  int lost_before_s;
  Trim trim;
  bool changed;
};

struct Story {
  const char* name;
  std::vector<Step> steps;
};

const std::vector<Story> kStories = {
    {"the first pipeline changes nothing, even after a sleep",
     {{"a", true, true, -1, Trim::Unasked, false}}},
    {"a rebuild for the same window",
     {{"a", true, false, -1, Trim::Unasked, false}, {"a", true, false, -1, Trim::Unasked, false}}},
    {"closed and back just in time",
     {{"a", true, false, -1, Trim::Unasked, false}, {"a", true, false, 9, Trim::Unasked, false}}},
    {"closed and back too late",
     {{"a", true, false, -1, Trim::Unasked, false}, {"a", true, false, 10, Trim::Unasked, true}}},
    {"back after an hour of the desktop",
     {{"a", true, false, -1, Trim::Unasked, false},
      {"display", false, false, 1, Trim::Unasked, false},
      {"a", true, false, 3600, Trim::Unasked, true}}},
    {"back after a glance at the desktop",
     {{"a", true, false, -1, Trim::Unasked, false},
      {"display", false, false, 1, Trim::Unasked, false},
      {"a", true, false, 4, Trim::Unasked, false}}},
    {"a loss is settled by coming back",
     {{"a", true, false, -1, Trim::Unasked, false},
      {"a", true, false, 60, Trim::Unasked, true},
      {"a", true, false, -1, Trim::Unasked, false}}},
    {"another game, and straight back while the trim waits",
     {{"a", true, false, -1, Trim::Unasked, false},
      {"b", true, false, 0, Trim::Unasked, true},
      {"a", true, false, 0, Trim::Waiting, false}}},
    {"another game, and back after the trim",
     {{"a", true, false, -1, Trim::Unasked, false},
      {"b", true, false, 0, Trim::Unasked, true},
      {"a", true, false, 0, Trim::None, true}}},
    {"a third game is not the one before",
     {{"a", true, false, -1, Trim::Unasked, false},
      {"b", true, false, 0, Trim::Unasked, true},
      {"c", true, false, 0, Trim::Unasked, true},
      {"a", true, false, 0, Trim::Unasked, true}}},
    {"the machine slept",
     {{"a", true, false, -1, Trim::Unasked, false},
      {"a", true, true, -1, Trim::Unasked, true},
      {"display", false, true, -1, Trim::Unasked, true}}},
};

TEST(TargetChanges, Stories) {
  for (const Story& story : kStories) {
    TargetChanges changes;
    uint64_t now = 5000 * kSecond;
    for (size_t i = 0; i < story.steps.size(); ++i) {
      const Step& step = story.steps[i];
      now += 7200 * kSecond;
      if (step.lost_before_s >= 0) {
        changes.WindowLost(now - static_cast<uint64_t>(step.lost_before_s) * kSecond);
      }
      bool asked = false;
      const bool changed = changes.PipelineStarts({.identity = step.identity,
                                                   .is_window = step.is_window,
                                                   .after_sleep = step.after_sleep,
                                                   .now_ns = now},
                                                  [&] {
                                                    asked = true;
                                                    return step.trim == Trim::Waiting;
                                                  });
      EXPECT_EQ(changed, step.changed) << story.name << ", step " << i;
      EXPECT_EQ(asked, step.trim != Trim::Unasked) << story.name << ", step " << i;
    }
  }
}

}  // namespace
}  // namespace orventa
