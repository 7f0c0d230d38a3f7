// What is to be captured: an ordered list of windows, programs and displays, and
// its file gamelist.ini. Plain values; any thread.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/clock.h"
#include "base/status.h"

namespace orventa {

enum class TargetKind : uint32_t {
  Window = 0,   // a title that contains the text
  Exact = 1,    // a title that is the text
  Path = 2,     // a window of this program
  AnyGame = 3,  // whatever looks like a game
  Desktop = 4,  // a display
};

struct CaptureTargetEntry {
  TargetKind kind = TargetKind::Window;
  std::string text;            // title or path
  uint32_t display_index = 0;  // in the system's order; 0: the main display
  std::string display_device;  // a monitor's lasting name; wins over the index
  bool enabled = true;
  bool record_session = false;  // record all of it straight to disk
  bool match_case = false;
  // ("section.key", value), in force while this entry is captured.
  std::vector<std::pair<std::string, std::string>> settings;

  bool operator==(const CaptureTargetEntry&) const = default;
};

struct GameList {
  std::vector<CaptureTargetEntry> entries;  // the first has priority
  std::vector<CaptureTargetEntry> exceptions;

  bool operator==(const GameList&) const = default;
};

GameList DefaultGameList();
std::string GameListPath(std::string_view config_dir);

// Any text gives a list; one without an entry gives the default's entries.
GameList ParseGameList(std::string_view text);
// The whole file. Reading it back gives the list again, with these exceptions: settings
// and `record_session` of an exception mean nothing and are not written; a line break
// in a text becomes a blank, and an entry that needs a text and has none is left out,
// neither of which comes from a file.
std::string GameListText(const GameList& list);

// `file_current` (may be null): false when the caller should write the list out,
// since it came from the old file, a backup or nowhere.
Status LoadGameList(IClock& clock, const std::string& path, GameList& out, bool* file_current);
Status SaveGameList(const GameList& list, const std::string& path);

// What an entry is called when people see it.
std::string TargetEntryName(const CaptureTargetEntry& entry);

}  // namespace orventa
