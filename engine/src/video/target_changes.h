// Whether a new pipeline shows another target than the history does, so that the
// old one's footage has to go after a while. Remembers the last two windows. A
// plain value with no clock of its own; engine thread.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace orventa {

class TargetChanges {
 public:
  // A window that comes back sooner never went.
  static constexpr uint64_t kBackSoonNs = 10'000'000'000;

  struct Start {
    std::string identity;  // the target's name, or its display's
    bool is_window = false;
    bool after_sleep = false;
    uint64_t now_ns = 0;  // steady clock
  };
  // Whether the target changed. `take_trim_pending` is asked only when the answer
  // depends on it: it says whether a trim was waiting and cancels it.
  bool PipelineStarts(const Start& start, const std::function<bool()>& take_trim_pending);

  // The window that was captured closed or lost its place.
  void WindowLost(uint64_t now_ns) { lost_at_ns_ = now_ns; }

 private:
  bool Decide(const Start& start, const std::function<bool()>& take_trim_pending) const;

  bool ran_before_ = false;
  std::optional<std::string> last_window_;
  std::optional<std::string> window_before_last_;
  std::optional<uint64_t> lost_at_ns_;
};

}  // namespace orventa
