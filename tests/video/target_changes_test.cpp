#include "video/target_changes.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace orventa {
namespace {

constexpr uint64_t kSecond = 1'000'000'000;

enum class Trim { Unasked, Waiting, None };

// One pipeline start, of a window or of "display".
struct Step {
  const char* identity;
  bool changed = false;
  int lost_before_s = -1;  // ago, the window of the last step was lost; negative: it was not
  Trim trim = Trim::Unasked;
  bool after_sleep = false;
};

struct Story {
  const char* name;
  std::vector<Step> steps;
};

const std::vector<Story> kStories = {
    {"the first pipeline changes nothing, even after a sleep",
     {{"a", false, -1, Trim::Unasked, true}}},
    {"a rebuild for the same window", {{"a"}, {"a"}}},
    {"closed and back just in time", {{"a"}, {"a", false, 9}}},
    {"closed and back too late", {{"a"}, {"a", true, 10}}},
    {"back after an hour of the desktop", {{"a"}, {"display", false, 1}, {"a", true, 3600}}},
    {"back after a glance at the desktop", {{"a"}, {"display", false, 1}, {"a", false, 4}}},
    {"a loss is settled by coming back", {{"a"}, {"a", true, 60}, {"a"}}},
    {"another game, and straight back while the trim waits",
     {{"a"}, {"b", true, 0}, {"a", false, 0, Trim::Waiting}}},
    {"another game, and back after the trim", {{"a"}, {"b", true, 0}, {"a", true, 0, Trim::None}}},
    {"a third game is not the one before", {{"a"}, {"b", true, 0}, {"c", true, 0}, {"a", true, 0}}},
    {"the machine slept",
     {{"a"}, {"a", true, -1, Trim::Unasked, true}, {"display", true, -1, Trim::Unasked, true}}},
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
      const bool changed =
          changes.PipelineStarts({.identity = step.identity,
                                  .is_window = step.identity != std::string("display"),
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
