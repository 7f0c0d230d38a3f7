// Games that somebody else's files name: programs, and folders whose programs count as
// games. The files are looked at now and then and read again only when they changed.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "base/clock.h"
#include "base/mutex.h"
#include "games/targets/known_games.h"

namespace orventa {

// A plain value; lower case throughout.
class NamedGames {
 public:
  void AddProgram(std::string_view lower_path);
  // `lower_folder` ends with a separator.
  void AddFolder(std::string_view lower_folder);
  // A program that is named, or lies anywhere in a folder that is, unless its name is
  // that of a game's companion.
  bool Knows(std::string_view lower_path) const;

 private:
  struct Hash {
    using is_transparent = void;
    size_t operator()(std::string_view text) const { return std::hash<std::string_view>()(text); }
  };
  using Names = std::unordered_set<std::string, Hash, std::equal_to<>>;

  Names programs_;
  Names folders_;
  std::vector<size_t> folder_lengths_;  // of `folders_`, each once, in order
};

// Where names come from. Called by one thread at a time.
class IGameListing {
 public:
  virtual ~IGameListing() = default;
  // Another value whenever the files may say something else.
  virtual uint64_t Stamp() = 0;
  // False: the files could not be read now; what was known stays.
  virtual bool Load(NamedGames& out) = 0;
};

class ListedGames final : public IKnownGameSource {
 public:
  static constexpr uint64_t kLookEveryNs = 3 * kNsPerSecond;

  // `clock` must outlive it.
  ListedGames(IClock& clock, std::unique_ptr<IGameListing> listing);
  bool Knows(const ProgramPath& program) override;

 private:
  std::shared_ptr<const NamedGames> Current();

  IClock& clock_;
  const std::unique_ptr<IGameListing> listing_;  // used by whoever has set `looking_`
  Mutex mutex_;
  bool looking_ ORVENTA_GUARDED_BY(mutex_) = false;
  bool loaded_ ORVENTA_GUARDED_BY(mutex_) = false;
  uint64_t next_look_ns_ ORVENTA_GUARDED_BY(mutex_) = 0;
  uint64_t stamp_ ORVENTA_GUARDED_BY(mutex_) = 0;
  std::shared_ptr<const NamedGames> known_ ORVENTA_GUARDED_BY(mutex_);
};

// games.txt, which the window keeps: a line a game, the program's path between the
// first and the second tab. Other programs in such a game's folder count as well,
// unless that folder lies so close to a drive's root that it is not the game's own.
class InstalledGamesFile final : public IGameListing {
 public:
  explicit InstalledGamesFile(std::string path);
  uint64_t Stamp() override;
  bool Load(NamedGames& out) override;

  static NamedGames Parse(std::string_view text);

 private:
  const std::string path_;
};

}  // namespace orventa
