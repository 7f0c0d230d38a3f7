#include "video/timeline_marks.h"

#include <algorithm>
#include <string>

namespace orventa {

TimelineMarks MarksBetween(const TimelineNotes& notes, uint64_t from_pts, uint64_t to_pts) {
  const auto inside = [&](uint64_t pts) { return pts >= from_pts && pts < to_pts; };
  TimelineMarks marks;
  std::vector<uint64_t> markers(notes.markers().begin(), notes.markers().end());
  std::sort(markers.begin(), markers.end());
  for (const uint64_t pts : markers) {
    if (!inside(pts)) continue;
    marks.markers.push_back({pts, "Marker " + std::to_string(marks.markers.size() + 1)});
  }
  for (const ClipEvent& event : notes.events()) {
    if (!inside(event.pts)) continue;
    marks.events.push_back(
        {event.pts, event.name, event.weight, event.detail, event.side, event.whom});
  }
  return marks;
}

}  // namespace orventa
