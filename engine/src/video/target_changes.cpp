#include "video/target_changes.h"

#include <utility>

namespace orventa {

bool TargetChanges::Decide(const Start& start,
                           const std::function<bool()>& take_trim_pending) const {
  if (!ran_before_) return false;
  if (start.after_sleep) return true;
  if (!start.is_window) return false;
  if (last_window_ == start.identity) {
    return lost_at_ns_ && start.now_ns - *lost_at_ns_ >= kBackSoonNs;
  }
  // A flip away and straight back loses nothing.
  if (window_before_last_ == start.identity && take_trim_pending()) return false;
  return true;
}

bool TargetChanges::PipelineStarts(const Start& start,
                                   const std::function<bool()>& take_trim_pending) {
  const bool changed = Decide(start, take_trim_pending);
  ran_before_ = true;
  if (start.is_window) {
    if (last_window_ != start.identity) {
      window_before_last_ = std::exchange(last_window_, start.identity);
    }
    lost_at_ns_.reset();
  }
  return changed;
}

}  // namespace orventa
