#include "video/timeline_notes.h"

#include <algorithm>
#include <utility>

namespace orventa {
namespace {

// Cuts the front of a list that has grown past its limit.
template <typename T>
void KeepNewest(std::deque<T>& list, size_t limit) {
  if (list.size() <= limit) return;
  list.erase(list.begin(), list.end() - static_cast<ptrdiff_t>(limit));
}

}  // namespace

void TimelineNotes::NoteTarget(TargetPeriod period, bool target_changed) {
  if (!target_changed && !periods_.empty() && periods_.back().name == period.name &&
      periods_.back().title == period.title) {
    return;
  }
  periods_.push_back(std::move(period));
  KeepNewest(periods_, kMaxPeriods);
}

void TimelineNotes::NoteWallClock(WallClockPoint point) {
  if (!wall_clock_points_.empty() && wall_clock_points_.back().pts == point.pts) {
    wall_clock_points_.back() = point;
    return;
  }
  wall_clock_points_.push_back(point);
  KeepNewest(wall_clock_points_, kMaxWallClockPoints);
}

size_t TimelineNotes::AddMarker(uint64_t pts, uint64_t oldest_wanted_pts, uint64_t save_from_pts) {
  std::erase_if(markers_, [&](uint64_t marker) { return marker < oldest_wanted_pts; });
  markers_.push_back(pts);
  KeepNewest(markers_, kMaxMarkers);
  return static_cast<size_t>(std::count_if(
      markers_.begin(), markers_.end(), [&](uint64_t marker) { return marker >= save_from_pts; }));
}

size_t TimelineNotes::AddEvent(ClipEvent event, uint64_t oldest_wanted_pts,
                               uint64_t save_from_pts) {
  std::erase_if(events_, [&](const ClipEvent& held) { return held.pts < oldest_wanted_pts; });
  events_.push_back(std::move(event));
  KeepNewest(events_, kMaxEvents);
  return static_cast<size_t>(
      std::count_if(events_.begin(), events_.end(),
                    [&](const ClipEvent& held) { return held.pts >= save_from_pts; }));
}

void TimelineNotes::Clear() {
  *this = TimelineNotes();
}

}  // namespace orventa
