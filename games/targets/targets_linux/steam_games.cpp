#include "games/targets/targets_linux/steam_games.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <system_error>
#include <utility>

#include "base/files.h"
#include "base/text.h"
#include "games/targets/key_values.h"

namespace orventa {
namespace {

constexpr uint64_t kMaxFileBytes = 4 * 1024 * 1024;
constexpr uint64_t kFullyInstalled = 4;  // a bit of StateFlags

// What Steam installs beside games, by the beginning of its name.
constexpr auto kTools = std::to_array<std::string_view>({
    "proton ",
    "steam linux runtime",
    "steamworks ",
    "steamvr",
});

bool IsTool(std::string_view name) {
  const std::string lower = ToLower(name);
  return std::any_of(kTools.begin(), kTools.end(),
                     [&](std::string_view tool) { return lower.starts_with(tool); });
}

bool IsPlainName(std::string_view name) {
  return !name.empty() && name != "." && name != ".." &&
         name.find_first_of(std::string_view("/\\\0", 3)) == std::string_view::npos;
}

bool IsManifestName(std::string_view name) {
  return name.starts_with("appmanifest_") && name.ends_with(".acf");
}

// A program is told by its real path, libraries are reached through links.
std::string RealPath(const std::string& path) {
  std::error_code error;
  const std::filesystem::path real = std::filesystem::canonical(path, error);
  return error ? std::string() : real.string();
}

std::string AppsFolder(const std::string& library) {
  return JoinPath(library, "steamapps");
}

std::string LibraryListPath(const std::string& root) {
  return JoinPath(AppsFolder(root), "libraryfolders.vdf");
}

void AddUnlessThere(std::vector<std::string>& paths, const std::string& path) {
  if (!path.empty() && std::find(paths.begin(), paths.end(), path) == paths.end()) {
    paths.push_back(path);
  }
}

}  // namespace

std::vector<std::string> SteamRoots(const std::string& home, const std::string& data_folder) {
  std::vector<std::string> roots;
  if (!data_folder.empty()) roots.push_back(JoinPath(data_folder, "Steam"));
  if (home.empty()) return roots;
  for (const char* const below_home : {
           ".local/share/Steam",
           ".steam/steam",
           ".steam/root",
           ".var/app/com.valvesoftware.Steam/.local/share/Steam",
           "snap/steam/common/.local/share/Steam",
       }) {
    AddUnlessThere(roots, JoinPath(home, below_home));
  }
  return roots;
}

std::optional<std::string> GameFolderOfManifest(std::string_view text) {
  KeyValues file;
  if (!ParseKeyValues(text, file)) return std::nullopt;
  const KeyValues* const app = file.Find("AppState");
  if (app == nullptr) return std::nullopt;
  const std::string_view folder = app->Text("installdir");
  if (!IsPlainName(folder) || IsTool(folder) || IsTool(app->Text("name"))) return std::nullopt;
  const uint64_t state = ParseUnsigned(app->Text("StateFlags")).value_or(0);
  if ((state & kFullyInstalled) == 0) return std::nullopt;
  return std::string(folder);
}

std::vector<std::string> LibrariesOf(std::string_view text) {
  std::vector<std::string> libraries;
  KeyValues file;
  if (!ParseKeyValues(text, file)) return libraries;
  const KeyValues* const list = file.Find("libraryfolders");
  if (list == nullptr) return libraries;
  for (const KeyValues& row : list->children) {
    if (!ParseUnsigned(row.key)) continue;
    const std::string_view path = row.children.empty() ? row.value : row.Text("path");
    if (path.starts_with('/') && path.find('\0') == std::string_view::npos) {
      libraries.emplace_back(path);
    }
  }
  return libraries;
}

SteamGames::SteamGames(std::vector<std::string> roots) : roots_(std::move(roots)) {}

uint64_t SteamGames::Stamp() {
  uint64_t sum = 0;
  const auto add = [&](const std::string& path) {
    sum = (sum ^ LastWriteStamp(path).value_or(1)) * 0x100000001B3;
  };
  for (const std::string& root : roots_) add(LibraryListPath(root));
  // Manifests are replaced by renaming, which marks their folder as written.
  for (const std::string& library : libraries_) add(AppsFolder(library));
  return sum;
}

bool SteamGames::Load(NamedGames& out) {
  libraries_.clear();
  for (const std::string& root : roots_) {
    const std::string real = RealPath(root);
    if (real.empty()) continue;
    AddUnlessThere(libraries_, real);
    std::string text;
    if (!ReadWholeFile(LibraryListPath(real), kMaxFileBytes, text).ok()) continue;
    for (const std::string& library : LibrariesOf(text)) {
      AddUnlessThere(libraries_, RealPath(library));
    }
  }
  std::map<std::string, Manifest> manifests;
  for (const std::string& library : libraries_) LoadLibrary(library, manifests, out);
  manifests_ = std::move(manifests);
  return true;
}

void SteamGames::LoadLibrary(const std::string& library, std::map<std::string, Manifest>& manifests,
                             NamedGames& out) const {
  const std::string apps = AppsFolder(library);
  std::vector<std::string> names;
  // A library on a drive that is not there now has no games now.
  if (!ListFiles(apps, names).ok()) return;
  for (const std::string& name : names) {
    if (!IsManifestName(name)) continue;
    const std::string path = JoinPath(apps, name);
    Manifest manifest = ReadManifest(path);
    if (manifest.folder) {
      const std::string folder = JoinPath(JoinPath(apps, "common"), *manifest.folder);
      out.AddFolder(ToLowerUnicode(folder) + "/");
    }
    manifests.emplace(path, std::move(manifest));
  }
}

SteamGames::Manifest SteamGames::ReadManifest(const std::string& path) const {
  Manifest manifest{.stamp = LastWriteStamp(path), .folder = std::nullopt};
  if (const auto last = manifests_.find(path);
      last != manifests_.end() && manifest.stamp && last->second.stamp == manifest.stamp) {
    return last->second;
  }
  std::string text;
  if (ReadWholeFile(path, kMaxFileBytes, text).ok()) manifest.folder = GameFolderOfManifest(text);
  return manifest;
}

}  // namespace orventa
