#include "games/targets/listed_games.h"

#include <algorithm>
#include <utility>

#include "base/files.h"
#include "base/text.h"

namespace orventa {
namespace {

constexpr uint64_t kMaxListBytes = 16 * 1024 * 1024;
constexpr std::string_view kSeparators = "\\/";
// In a folder with fewer than this, others' programs lie as well.
constexpr std::ptrdiff_t kMinFolderSeparators = 3;

bool IsSeparator(char c) {
  return kSeparators.find(c) != std::string_view::npos;
}

}  // namespace

void NamedGames::AddProgram(std::string_view lower_path) {
  programs_.emplace(lower_path);
}

void NamedGames::AddFolder(std::string_view lower_folder) {
  folders_.emplace(lower_folder);
  const auto place =
      std::lower_bound(folder_lengths_.begin(), folder_lengths_.end(), lower_folder.size());
  if (place == folder_lengths_.end() || *place != lower_folder.size()) {
    folder_lengths_.insert(place, lower_folder.size());
  }
}

bool NamedGames::Knows(std::string_view lower_path) const {
  if (programs_.contains(lower_path)) return true;
  for (const size_t length : folder_lengths_) {
    if (length >= lower_path.size()) break;
    if (IsSeparator(lower_path[length - 1]) && folders_.contains(lower_path.substr(0, length))) {
      return !HasLauncherWord(ProgramFileName(lower_path));
    }
  }
  return false;
}

ListedGames::ListedGames(IClock& clock, std::unique_ptr<IGameListing> listing)
    : clock_(clock), listing_(std::move(listing)), known_(std::make_shared<const NamedGames>()) {}

bool ListedGames::Knows(const ProgramPath& program) {
  return Current()->Knows(program.lower);
}

std::shared_ptr<const NamedGames> ListedGames::Current() {
  const uint64_t now = clock_.SteadyNs();
  bool loaded = false;
  uint64_t stamp = 0;
  {
    const MutexLock lock(mutex_);
    // Whoever comes while another reads gets what was known before.
    if (looking_ || now < next_look_ns_) return known_;
    looking_ = true;
    next_look_ns_ = now + kLookEveryNs;
    loaded = loaded_;
    stamp = stamp_;
  }
  // Taken before reading: what is written meanwhile makes for another stamp.
  const uint64_t newest = listing_->Stamp();
  auto fresh = std::make_shared<NamedGames>();
  const bool changed = (!loaded || newest != stamp) && listing_->Load(*fresh);
  const MutexLock lock(mutex_);
  looking_ = false;
  if (changed) {
    loaded_ = true;
    stamp_ = newest;
    known_ = std::move(fresh);
  }
  return known_;
}

InstalledGamesFile::InstalledGamesFile(std::string path) : path_(std::move(path)) {}

uint64_t InstalledGamesFile::Stamp() {
  return LastWriteStamp(path_).value_or(0);
}

bool InstalledGamesFile::Load(NamedGames& out) {
  std::string text;
  const FileResult read = ReadWholeFile(path_, kMaxListBytes, text);
  if (!read.ok()) return read.error == FileError::NotFound;
  out = Parse(text);
  return true;
}

NamedGames InstalledGamesFile::Parse(std::string_view text) {
  NamedGames games;
  for (const std::string_view line : Split(text, '\n')) {
    const size_t first = line.find('\t');
    if (first == std::string_view::npos) continue;
    const size_t second = line.find('\t', first + 1);
    if (second == std::string_view::npos || second == first + 1) continue;
    const std::string path = ToLowerUnicode(line.substr(first + 1, second - first - 1));
    games.AddProgram(path);
    const std::string_view folder =
        std::string_view(path).substr(0, path.find_last_of(kSeparators) + 1);
    if (std::count_if(folder.begin(), folder.end(), IsSeparator) >= kMinFolderSeparators) {
      games.AddFolder(folder);
    }
  }
  return games;
}

}  // namespace orventa
