// A game list from outside: whatever the bytes, writing the list that was read and
// reading it again gives the same list, but for settings under exceptions, which are
// read and not written.
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "games/targets/game_list.h"

using orventa::CaptureTargetEntry;
using orventa::GameList;
using orventa::GameListText;
using orventa::ParseGameList;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  GameList list = ParseGameList({reinterpret_cast<const char*>(data), size});
  for (CaptureTargetEntry& exception : list.exceptions) {
    exception.settings.clear();
    exception.record_session = false;
  }
  const std::string text = GameListText(list);
  if (ParseGameList(text) != list) std::abort();
  return 0;
}
