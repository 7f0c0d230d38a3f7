#include "games/targets/known_games.h"

#include <algorithm>
#include <array>
#include <utility>

#include "base/text.h"
#include "games/targets/engine_marks.h"
#include "games/targets/listed_games.h"

namespace orventa {
namespace {

constexpr auto kLauncherWords = std::to_array<std::string_view>({
    "launcher", "crashhandler", "crashreport", "crashpad", "unins",  "setup",      "install",
    "updat",    "config",       "settings",    "editor",   "report", "helper",     "prereq",
    "redist",   "server",       "benchmark",   "vconsole", "cef",    "subprocess",
});

class KnownGames final : public IKnownGames {
 public:
  explicit KnownGames(std::vector<std::unique_ptr<IKnownGameSource>> sources)
      : sources_(std::move(sources)) {}

  bool IsKnownGame(const std::string& exe_path) override {
    if (exe_path.empty()) return false;
    const std::string lower = ToLowerUnicode(exe_path);
    return std::any_of(sources_.begin(), sources_.end(), [&](const auto& source) {
      return source->Knows({exe_path, lower});
    });
  }

 private:
  const std::vector<std::unique_ptr<IKnownGameSource>> sources_;
};

}  // namespace

bool HasLauncherWord(std::string_view lower_file_name) {
  return std::any_of(kLauncherWords.begin(), kLauncherWords.end(), [&](std::string_view word) {
    return lower_file_name.find(word) != std::string_view::npos;
  });
}

std::unique_ptr<IKnownGames> AssembleKnownGames(IClock& clock, const KnownFolders& folders,
                                                std::unique_ptr<IKnownGameSource> first) {
  std::vector<std::unique_ptr<IKnownGameSource>> sources;
  sources.push_back(std::move(first));
  if (!folders.local_data.empty()) {
    sources.push_back(std::make_unique<ListedGames>(
        clock, std::make_unique<InstalledGamesFile>(
                   JoinPath(JoinPath(folders.local_data, "programs"), "games.txt"))));
  }
  sources.push_back(std::make_unique<EngineMarks>());
  return std::make_unique<KnownGames>(std::move(sources));
}

}  // namespace orventa
