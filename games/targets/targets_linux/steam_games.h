// The games that Steam has installed, by the files that it keeps in its folders.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "games/targets/listed_games.h"

namespace orventa {

// Where Steam's own folder may lie, by how it was installed.
std::vector<std::string> SteamRoots(const std::string& home, const std::string& data_folder);

// An appmanifest_*.acf: the game's folder below steamapps/common, or nothing when it is
// no game, is not installed, or the text is broken.
std::optional<std::string> GameFolderOfManifest(std::string_view text);

// The libraries that libraryfolders.vdf names, in either of its forms.
std::vector<std::string> LibrariesOf(std::string_view text);

class SteamGames final : public IGameListing {
 public:
  explicit SteamGames(std::vector<std::string> roots);
  uint64_t Stamp() override;
  bool Load(NamedGames& out) override;

 private:
  struct Manifest {
    std::optional<uint64_t> stamp;
    std::optional<std::string> folder;
  };
  void LoadLibrary(const std::string& library, std::map<std::string, Manifest>& manifests,
                   NamedGames& out) const;
  Manifest ReadManifest(const std::string& path) const;

  const std::vector<std::string> roots_;
  std::vector<std::string> libraries_;
  // What was read last, since a download changes one of many every few seconds.
  std::map<std::string, Manifest> manifests_;
};

}  // namespace orventa
