#include "video/timeline_notes.h"

#include <gtest/gtest.h>

namespace orventa {
namespace {

TEST(TimelineNotes, AddsARowForEveryChangeOfTarget) {
  TimelineNotes notes;
  notes.NoteTarget({1, "Game", "Title", true}, false);
  notes.NoteTarget({2, "Game", "Title", true}, false);
  EXPECT_EQ(notes.periods().size(), 1U);
  notes.NoteTarget({3, "Game", "Title", true}, true);
  notes.NoteTarget({4, "Game", "Other title", true}, false);
  notes.NoteTarget({5, "Other game", "Other title", true}, false);
  EXPECT_EQ(notes.periods().size(), 4U);
  for (uint64_t i = 0; i < 40; ++i) notes.NoteTarget({10 + i, "Game", "", true}, true);
  EXPECT_EQ(notes.periods().size(), 32U);
  EXPECT_EQ(notes.periods().front().start_pts, 18U);
}

TEST(TimelineNotes, ANewClockPointReplacesOneOfTheSameTime) {
  TimelineNotes notes;
  notes.NoteWallClock({5, 1000});
  notes.NoteWallClock({5, 2000});
  ASSERT_EQ(notes.wall_clock_points().size(), 1U);
  EXPECT_EQ(notes.wall_clock_points()[0].unix_time_ms, 2000);
  for (uint64_t i = 6; i < 306; ++i) notes.NoteWallClock({i, 0});
  EXPECT_EQ(notes.wall_clock_points().size(), 256U);
  EXPECT_EQ(notes.wall_clock_points().front().pts, 50U);
}

TEST(TimelineNotes, MarksAndEventsAreBoundedAndCounted) {
  TimelineNotes notes;
  EXPECT_EQ(notes.AddMarker(10, 0, 0), 1U);
  EXPECT_EQ(notes.AddMarker(20, 0, 11), 1U);
  EXPECT_EQ(notes.AddMarker(30, 0, 20), 2U);
  EXPECT_EQ(notes.AddMarker(40, 21, 0), 2U);  // 10 and 20 are too old
  for (uint64_t i = 0; i < 500; ++i) notes.AddMarker(100 + i, 0, 0);
  EXPECT_EQ(notes.markers().size(), 400U);
  EXPECT_EQ(notes.markers().front(), 200U);

  ClipEvent event;
  for (uint64_t i = 0; i < 4100; ++i) {
    event.pts = i;
    notes.AddEvent(event, 0, 0);
  }
  EXPECT_EQ(notes.events().size(), 4000U);
  event.pts = 5000;
  EXPECT_EQ(notes.AddEvent(event, 4000, 4099), 2U);
  EXPECT_EQ(notes.events().size(), 101U);
  notes.Clear();
  EXPECT_TRUE(notes.events().empty());
  EXPECT_TRUE(notes.markers().empty());
}

}  // namespace
}  // namespace orventa
