#include "games/targets/known_games.h"

#include "games/targets/targets_win/game_bar_games.h"

namespace orventa {

std::unique_ptr<IKnownGames> MakeKnownGames(IClock& clock, const KnownFolders& folders) {
  return AssembleKnownGames(
      clock, folders, std::make_unique<GameBarGames>(clock, L"System\\GameConfigStore\\Children"));
}

}  // namespace orventa
