// Steam's files, which any program of the user may write: no bytes crash the reader,
// and a game's folder never leads out of the library.
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "games/targets/targets_linux/steam_games.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  for (const std::string& library : orventa::LibrariesOf(text)) {
    if (!library.starts_with('/')) std::abort();
  }
  const auto folder = orventa::GameFolderOfManifest(text);
  if (folder && (folder->empty() || *folder == ".." || folder->find('/') != std::string::npos)) {
    std::abort();
  }
  return 0;
}
