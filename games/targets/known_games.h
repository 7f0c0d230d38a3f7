// Which programs are games: the sources of that knowledge, asked in order. A platform
// has a first source of its own; the list of installed games and the marks of engines
// beside a program serve everywhere. Any thread.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "base/clock.h"
#include "base/files.h"
#include "games/targets/desktop.h"

namespace orventa {

// A program asked about, in the two spellings that sources need. Valid during the call.
struct ProgramPath {
  const std::string& path;   // as the system tells it
  const std::string& lower;  // by ToLowerUnicode
};

// Any thread; implementations lock for themselves, and not while they read files.
class IKnownGameSource {
 public:
  virtual ~IKnownGameSource() = default;
  virtual bool Knows(const ProgramPath& program) = 0;
};

// The platform's own source first, then the portable ones. `clock` must outlive it.
std::unique_ptr<IKnownGames> AssembleKnownGames(IClock& clock, const KnownFolders& folders,
                                                std::unique_ptr<IKnownGameSource> first);
// The same with this platform's source; in targets_win/ and targets_linux/.
std::unique_ptr<IKnownGames> MakeKnownGames(IClock& clock, const KnownFolders& folders);

// Whether a file's name, in lower case, is one that launchers, installers and other
// companions of games have.
bool HasLauncherWord(std::string_view lower_file_name);

// What follows the last separator of either system: programs of Windows run on Linux.
inline std::string_view ProgramFileName(std::string_view path) {
  return path.substr(path.find_last_of("\\/") + 1);
}

}  // namespace orventa
