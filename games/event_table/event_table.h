// The things that happen in games, by the names that settings, marks and readers
// share: plain data. Its order is the order of the lines in the settings file.
// Any thread.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

namespace orventa {

enum class GameEventKind : uint32_t {
  Kill = 0,    // or a goal
  Death = 1,   // or being demolished
  Assist = 2,  // or a save
  Objective = 3,
  Rhythm = 4,  // rounds and the like
  Match = 5,
  Special = 6,
};

struct GameEventRow {
  std::string_view id;
  GameEventKind kind = GameEventKind::Special;
  bool marks_by_default = true;
  std::string_view label;  // for the user
  std::string_view note;   // why one may want it off; mostly empty
};

std::span<const GameEventRow> GameEventTable();
// Null for an id that the table does not know.
const GameEventRow* FindGameEvent(std::string_view id);

}  // namespace orventa
