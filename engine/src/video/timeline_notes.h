// What the engine remembers of the session timeline beside the packets: who was
// on screen, wall clock points, markers and game events, each bounded. Plain
// values; the owner locks.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>
#include <vector>

namespace orventa {

struct TargetPeriod {
  uint64_t start_pts = 0;
  std::string name;
  std::string title;
  bool is_window = false;
};

struct WallClockPoint {
  uint64_t pts = 0;
  int64_t unix_time_ms = 0;
};

struct ClipEvent {
  uint64_t pts = 0;
  std::string name;
  uint8_t weight = 0;
  std::string detail;
  uint8_t side = 0;
  std::string whom;
};

class TimelineNotes {
 public:
  static constexpr size_t kMaxPeriods = 32;
  static constexpr size_t kMaxWallClockPoints = 256;
  static constexpr size_t kMaxMarkers = 400;
  static constexpr size_t kMaxEvents = 4000;

  // Adds a row unless the newest has the same name and title and nothing changed.
  void NoteTarget(TargetPeriod period, bool target_changed);
  void NoteWallClock(WallClockPoint point);
  // Drops markers before `oldest_wanted_pts`, adds one, and returns how many lie
  // at or after `save_from_pts`.
  size_t AddMarker(uint64_t pts, uint64_t oldest_wanted_pts, uint64_t save_from_pts);
  size_t AddEvent(ClipEvent event, uint64_t oldest_wanted_pts, uint64_t save_from_pts);
  void Clear();

  const std::deque<TargetPeriod>& periods() const { return periods_; }
  const std::deque<WallClockPoint>& wall_clock_points() const { return wall_clock_points_; }
  const std::deque<uint64_t>& markers() const { return markers_; }
  const std::deque<ClipEvent>& events() const { return events_; }

 private:
  std::deque<TargetPeriod> periods_;
  std::deque<WallClockPoint> wall_clock_points_;
  std::deque<uint64_t> markers_;
  std::deque<ClipEvent> events_;
};

}  // namespace orventa
