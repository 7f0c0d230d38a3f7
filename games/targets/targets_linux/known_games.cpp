#include "games/targets/known_games.h"

#include "base/text.h"
#include "games/targets/listed_games.h"
#include "games/targets/targets_linux/steam_games.h"

namespace orventa {

std::unique_ptr<IKnownGames> MakeKnownGames(IClock& clock, const KnownFolders& folders) {
  const std::string data(ParentFolder(folders.local_data));
  return AssembleKnownGames(
      clock, folders,
      std::make_unique<ListedGames>(
          clock, std::make_unique<SteamGames>(SteamRoots(Environment("HOME"), data))));
}

}  // namespace orventa
