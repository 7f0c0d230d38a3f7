// The marks of a span of the timeline as a file takes them. Pure.
#pragma once

#include <cstdint>
#include <vector>

#include "mp4/movie.h"
#include "video/timeline_notes.h"

namespace orventa {

struct TimelineMarks {
  std::vector<Mp4Marker> markers;  // in order of time, numbered from 1
  std::vector<Mp4GameEvent> events;
};

// Those at or after `from_pts` and before `to_pts`.
TimelineMarks MarksBetween(const TimelineNotes& notes, uint64_t from_pts, uint64_t to_pts);

}  // namespace orventa
