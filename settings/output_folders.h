// Where a file really goes, and what it is called. Any thread.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "base/clock.h"
#include "base/files.h"
#include "base/status.h"
#include "settings/config.h"

namespace orventa {

// The folder of a kind when the user chose none; empty when the system names no
// folder for it.
std::string DefaultOutputFolder(const KnownFolders& folders, OutputKind kind);

// Every folder that there is in which files of a kind may lie: those where they go,
// each with the folders of games inside it.
enum class GameFolders { Never, Always };
std::vector<std::string> FoldersOfOutput(const Config& config, const KnownFolders& folders,
                                         OutputKind kind, GameFolders game_folders);

struct OutputFolder {
  std::string path;      // exists and can be written
  std::string fallback;  // empty, or the text that says which folder could not be
                         // written and what stands in
};
// The configured folder, the kind's default, or "Recordings" beside the program:
// the first that can be written. When none can, the code tells why the first of
// them could not.
Status ResolveOutputFolder(const Config& config, const KnownFolders& folders, IClock& clock,
                           OutputKind kind, OutputFolder& out);

// Expands %d %m %Y %y %H %M %S %% from local time and leaves other uses of % alone;
// characters that no file name may hold become "_".
std::string ExpandPattern(std::string_view pattern, const LocalTime& time);

// A game's name as one that every system takes for a folder; empty when nothing
// usable is in it.
std::string SafeFolderName(std::string_view name);

struct OutputName {
  OutputKind kind = OutputKind::Replay;
  std::string_view extension;  // without the dot
  int64_t wall_ms = 0;         // 0: now
  std::string_view game;       // folder per game; empty: none
};
struct OutputPath {
  std::string path;
  std::string folder;    // the kind's folder, without the game's
  std::string fallback;  // as OutputFolder::fallback
};
// Makes the folders that are needed and a path that no file has yet, nor one that
// was given to another kind in the last minute: a name that is taken gets " (2)", " (3)"
// and so on. A game's folder that cannot be written is done without.
Status ResolveOutputPath(const Config& config, const KnownFolders& folders, IClock& clock,
                         const OutputName& name, OutputPath& out);

}  // namespace orventa
