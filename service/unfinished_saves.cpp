#include "service/unfinished_saves.h"

#include <array>
#include <filesystem>
#include <set>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "base/log.h"
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

void SweepFolder(const std::string& folder) {
  std::vector<std::string> names;
  if (!ListFiles(folder, names).ok()) return;
  for (const std::string& name : names) {
    if (!IsUnfinishedSave(name)) continue;
    const std::string path = JoinPath(folder, name);
    if (RemoveFile(path).ok()) LogInfo("removed an unfinished save: %s", path.c_str());
  }
}

std::vector<std::string> FoldersInside(const std::string& folder) {
  namespace fs = std::filesystem;
  std::vector<std::string> found;
  std::error_code error;
  const fs::path root(std::u8string(folder.begin(), folder.end()));
  for (fs::directory_iterator entry(root, error), end; !error && entry != end;
       entry.increment(error)) {
    std::error_code ignored;
    if (!entry->is_directory(ignored) || entry->is_symlink(ignored)) continue;
    const std::u8string path = entry->path().u8string();
    found.emplace_back(path.begin(), path.end());
  }
  return found;
}

}  // namespace

void RemoveUnfinishedSaves(const Config& config, const KnownFolders& folders) {
  std::set<std::string> roots;
  for (uint32_t i = 0; i < kOutputKindCount; ++i) {
    const auto kind = static_cast<OutputKind>(i);
    const std::string& chosen = config.storage.Of(kind).directory;
    roots.insert(chosen.empty() ? DefaultOutputFolder(folders, kind) : chosen);
  }
  for (const std::string& root : roots) {
    if (root.empty()) continue;
    SweepFolder(root);
    if (!config.storage.folder_per_game) continue;
    for (const std::string& folder : FoldersInside(root)) SweepFolder(folder);
  }
}

}  // namespace orventa
