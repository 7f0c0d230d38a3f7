#include "video/target_watch.h"

namespace orventa {

bool TargetWatch::WatchWindow(uint64_t slot, uint64_t now_ns) {
  if (!current_.IsWindow()) return false;
  const uint64_t window = current_.target.window;
  minimised_ = windows_.IsHiddenOrMinimised(window);
  if (windows_.IsForeground(window)) {
    candidate_.reset();
    return false;
  }
  // A window that the user named keeps its claim while it only stands behind.
  if (!minimised_ && !current_.any_game) {
    candidate_.reset();
    return false;
  }
  if (slot >= next_look_slot_) {
    next_look_slot_ = slot + fps_;
    if (!finder_.Find(0, found_).ok() || !MayTakeOver(found_)) {
      candidate_.reset();
    } else if (!candidate_ || candidate_->window != found_.target.window) {
      candidate_ = Candidate{.window = found_.target.window, .since_ns = now_ns};
    } else {
      return now_ns - candidate_->since_ns >= kSwitchAfterNs;
    }
  }
  return false;
}

bool TargetWatch::MayTakeOver(const FoundTarget& candidate) {
  if (!candidate.IsWindow() || candidate.target == current_.target) return false;
  if (candidate.list_index > current_.list_index) return false;
  return !candidate.any_game || windows_.IsForeground(candidate.target.window);
}

bool TargetWatch::BetterTargetOpened() {
  const uint64_t window = current_.IsWindow() ? current_.target.window : 0;
  if (!finder_.Find(window, found_).ok() || found_.list_index >= current_.list_index) return false;
  if (found_.target != current_.target) return true;
  current_.list_index = found_.list_index;
  return false;
}

bool TargetWatch::ReadNewTitle(const std::string** title) {
  if (!current_.IsWindow()) return false;
  windows_.ReadTitle(current_.target.window, title_);
  if (title_.empty() || title_ == shown_title_) return false;
  shown_title_ = title_;
  *title = &shown_title_;
  return true;
}

}  // namespace orventa
