#include "games/targets/engine_marks.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <vector>

#include "base/files.h"
#include "base/text.h"

namespace orventa {
namespace {

constexpr std::string_view kExtension = ".exe";

// Unreal's builds end with "-<platform>-shipping" and lie in "binaries/<platform>".
constexpr auto kUnrealPlatforms = std::to_array<std::string_view>({"win64", "wingdk", "linux"});

constexpr auto kMarks = std::to_array<std::string_view>({
    "unityplayer.dll",
    "engine2.dll",
    "data.win",
    "steam_api64.dll",
    "steam_api.dll",
    "eossdk-win64-shipping.dll",
    "eossdk-win32-shipping.dll",
    "galaxy64.dll",
    "galaxy.dll",
});
// Beside programs of Linux.
constexpr auto kLinuxMarks = std::to_array<std::string_view>({
    "unityplayer.so",
    "libengine2.so",
    "libsteam_api.so",
    "libeossdk-linux-shipping.so",
    "libgalaxy64.so",
    "libgalaxy.so",
});

struct Program {
  std::string_view folder;        // as the system tells it, up to and with the separator
  std::string_view lower_folder;  // the same in lower case
  std::string_view name;          // lower case, without ".exe"
  std::string_view stem;          // `name` without whatever ending it has
  bool for_windows = false;
};

Program PartsOf(const ProgramPath& path) {
  const std::string_view file = ProgramFileName(path.path);
  const std::string_view lower = path.lower;
  Program program;
  program.folder = std::string_view(path.path).substr(0, path.path.size() - file.size());
  program.name = ProgramFileName(lower);
  program.lower_folder = lower.substr(0, lower.size() - program.name.size());
  program.for_windows =
      program.name.size() > kExtension.size() && program.name.ends_with(kExtension);
  if (program.for_windows) program.name.remove_suffix(kExtension.size());
  program.stem =
      program.for_windows ? program.name : program.name.substr(0, program.name.rfind('.'));
  return program;
}

bool IsUnrealBuild(const Program& program) {
  std::string folder(program.lower_folder);
  std::replace(folder.begin(), folder.end(), '\\', '/');
  return std::any_of(
      kUnrealPlatforms.begin(), kUnrealPlatforms.end(), [&](std::string_view platform) {
        const std::string ending = "-" + std::string(platform) + "-shipping";
        return program.name.size() > ending.size() && program.name.ends_with(ending) &&
               folder.ends_with("/binaries/" + std::string(platform) + "/");
      });
}

bool HasMarkBeside(const Program& program) {
  std::vector<std::string> files;
  // A folder that may not be read holds nothing that is known.
  if (!ListFiles(program.folder, files).ok()) return false;
  const std::string pack = std::string(program.name) + ".pck";
  const std::string stem_pack = std::string(program.stem) + ".pck";
  return std::any_of(files.begin(), files.end(), [&](const std::string& file) {
    const std::string name = ToLowerUnicode(file);
    const auto is_name = [&](std::string_view mark) { return mark == name; };
    if (name == pack || std::any_of(kMarks.begin(), kMarks.end(), is_name)) return true;
    return !program.for_windows &&
           (name == stem_pack || std::any_of(kLinuxMarks.begin(), kLinuxMarks.end(), is_name));
  });
}

// Unity names it for the program as it is spelled.
bool HasUnityData(const ProgramPath& path, const Program& program) {
  if (program.for_windows) return false;
  const std::string_view file = ProgramFileName(path.path);
  const std::string data = std::string(file.substr(0, file.rfind('.'))) + "_Data";
  return FolderExists(JoinPath(program.folder, data));
}

}  // namespace

bool HasGameMarks(const ProgramPath& path) {
  const Program program = PartsOf(path);
  if (program.folder.empty() || HasLauncherWord(ProgramFileName(path.lower))) return false;
  return IsUnrealBuild(program) || HasMarkBeside(program) || HasUnityData(path, program);
}

bool EngineMarks::Knows(const ProgramPath& program) {
  {
    const MutexLock lock(mutex_);
    if (const auto known = answers_.find(program.path); known != answers_.end()) {
      return known->second;
    }
  }
  const bool answer = HasGameMarks(program);
  const MutexLock lock(mutex_);
  if (answers_.size() > kMaxRemembered) answers_.clear();
  answers_.emplace(program.path, answer);
  return answer;
}

}  // namespace orventa
