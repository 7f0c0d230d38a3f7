#include "service/unfinished_saves.h"

#include <array>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "base/files.h"
#include "base/log.h"
#include "service/service_state.h"
#include "settings/output_folders.h"

namespace orventa {
namespace {

// A download's ".part" in a folder that the user shares with us is not ours.
constexpr std::array<std::string_view, 4> kEndings = {".mp4.part", ".png.part", ".jpg.part",
                                                      ".jxr.part"};

bool IsUnfinishedSave(std::string_view name) {
  for (const std::string_view ending : kEndings) {
    if (name.ends_with(ending)) return true;
  }
  return false;
}

std::vector<std::string> FindUnfinishedSaves(const Config& config, const KnownFolders& folders) {
  const GameFolders game_folders =
      config.storage.folder_per_game ? GameFolders::Always : GameFolders::Never;
  std::set<std::string> places;
  for (uint32_t i = 0; i < kOutputKindCount; ++i) {
    for (std::string& folder :
         FoldersOfOutput(config, folders, static_cast<OutputKind>(i), game_folders)) {
      places.insert(std::move(folder));
    }
  }
  std::vector<std::string> found;
  for (const std::string& folder : places) {
    std::vector<std::string> names;
    (void)ListFiles(folder, names);  // a drive may be away
    for (const std::string& name : names) {
      if (IsUnfinishedSave(name)) found.push_back(JoinPath(folder, name));
    }
  }
  return found;
}

}  // namespace

void RemoveUnfinishedSaves(ServiceState& state) {
  const auto found = FindUnfinishedSaves(CopyConfig(state), state.platform.folders);
  // What was found before the first save began is no save at work, and a save that
  // begins from now on finds a name of its own.
  if (state.saves.saves_begun != 0) return;
  for (const std::string& path : found) {
    if (RemoveFile(path).ok()) LogInfo("removed an unfinished save: %s", path.c_str());
  }
}

}  // namespace orventa
