#include "settings/output_folders.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <filesystem>
#include <map>
#include <system_error>
#include <vector>

#include "base/mutex.h"
#include "base/text.h"

namespace orventa {
namespace {

// File systems take 255 bytes or UTF-16 units; room is left for " (2)", the
// extension and the suffix of a file in progress.
constexpr size_t kMaxNameBytes = 200;

constexpr std::array<std::string_view, 22> kReservedNames = {
    "con",  "prn",  "aux",  "nul",  "com1", "com2", "com3", "com4", "com5", "com6", "com7",
    "com8", "com9", "lpt1", "lpt2", "lpt3", "lpt4", "lpt5", "lpt6", "lpt7", "lpt8", "lpt9"};

bool IsForbidden(char c) {
  return static_cast<unsigned char>(c) < 0x20 || c == 0x7F ||
         std::string_view("\\/:*?\"<>|").find(c) != std::string_view::npos;
}

void ReplaceForbidden(std::string& name) {
  std::replace_if(name.begin(), name.end(), IsForbidden, '_');
}

// Windows drops dots and spaces at a name's end, and gives device names to devices
// whatever extension follows. Files go along when a drive changes machines, so
// every system keeps to this.
std::string MakeSafe(std::string_view name) {
  name = CutUtf8(Trim(name), kMaxNameBytes);
  const size_t last = name.find_last_not_of(". ");
  std::string safe(name.substr(0, last == std::string_view::npos ? 0 : last + 1));
  const std::string_view stem = Trim(std::string_view(safe).substr(0, safe.find('.')));
  const bool reserved = std::any_of(kReservedNames.begin(), kReservedNames.end(),
                                    [&](auto word) { return EqualsIgnoreCase(stem, word); });
  if (reserved) safe.insert(0, 1, '_');
  return safe;
}

// Writability cannot be read off a folder's rights: drives are pulled, shares go
// away, and scanners forbid. Only a write tells.
FileResult TryFolder(const std::string& folder, IClock& clock) {
  static std::atomic<uint32_t> counter{0};
  if (FileResult result = CreateFolders(folder); !result.ok()) return result;
  const std::string path = JoinPath(folder, ".orventa-write-test-" + std::to_string(counter++) +
                                                "-" + std::to_string(clock.SteadyNs() / kNsPerMs));
  OutputFile file;
  FileResult result = file.Create(path);
  if (!result.ok()) return result;
  const uint8_t byte = 0;
  result = file.Write({&byte, 1});
  const FileResult closed = file.Close();
  (void)RemoveFile(path);  // a scanner may hold it; the folder was written all the same
  return result.ok() ? closed : result;
}

// A link may lead anywhere; ours are folders.
void AddFoldersInside(const std::string& folder, std::vector<std::string>& all) {
  namespace fs = std::filesystem;
  std::error_code error;
  const fs::path root(std::u8string(folder.begin(), folder.end()));
  for (fs::directory_iterator entry(root, error), end; !error && entry != end;
       entry.increment(error)) {
    std::error_code ignored;
    if (!entry->is_directory(ignored) || entry->is_symlink(ignored)) continue;
    const std::u8string path = entry->path().u8string();
    all.emplace_back(path.begin(), path.end());
  }
}

struct Candidate {
  std::string path;
  std::string_view label;
};

std::vector<Candidate> Candidates(const Config& config, const KnownFolders& folders,
                                  OutputKind kind) {
  std::vector<Candidate> all;
  all.push_back({config.storage.Of(kind).directory, "configured directory"});
  all.push_back({DefaultOutputFolder(folders, kind), "default folder for this kind"});
  if (!folders.program.empty()) {
    all.push_back(
        {JoinPath(folders.program, "Recordings"), "Recordings folder beside the program"});
  }
  std::erase_if(all, [](const Candidate& candidate) { return candidate.path.empty(); });
  return all;
}

std::string TwoDigits(int value) {
  return Format("%02d", value);
}

std::string ExpandField(char field, const LocalTime& time) {
  switch (field) {
    case 'd': return TwoDigits(time.day);
    case 'm': return TwoDigits(time.month);
    case 'Y': return Format("%04d", time.year);
    case 'y': return TwoDigits(time.year % 100);
    case 'H': return TwoDigits(time.hour);
    case 'M': return TwoDigits(time.minute);
    case 'S': return TwoDigits(time.second);
    case '%': return "%";
    default: return {'%', field};
  }
}

// Paths that were given out and may have no file yet: a save and a recording of one
// second in one folder would each be written over by the other.
class GivenPaths {
 public:
  // False: another kind of file was given it lately.
  bool Give(const std::string& path, OutputKind kind, uint64_t now_ns) {
    const MutexLock lock(mutex_);
    std::erase_if(given_, [&](const auto& row) { return now_ns - row.second.at_ns > kHeldNs; });
    const auto [row, unseen] = given_.try_emplace(path, Given{kind, now_ns});
    return unseen || row->second.kind == kind;
  }

 private:
  // A recording may begin ten seconds after it was asked for.
  static constexpr uint64_t kHeldNs = 60 * kNsPerSecond;
  struct Given {
    OutputKind kind;
    uint64_t at_ns;  // steady clock
  };

  Mutex mutex_;
  std::map<std::string, Given> given_ ORVENTA_GUARDED_BY(mutex_);
};

std::string FreePath(const std::string& folder, const std::string& stem, const OutputName& name,
                     uint64_t now_ns) {
  static GivenPaths given;
  const std::string suffix = "." + std::string(name.extension);
  std::string path = JoinPath(folder, stem + suffix);
  for (uint32_t number = 2;
       FileExists(path) || FolderExists(path) || !given.Give(path, name.kind, now_ns); ++number) {
    path = JoinPath(folder, stem + " (" + std::to_string(number) + ")" + suffix);
  }
  return path;
}

}  // namespace

std::string DefaultOutputFolder(const KnownFolders& folders, OutputKind kind) {
  const bool picture = kind == OutputKind::Screenshot;
  const std::string& parent = picture ? folders.pictures : folders.videos;
  if (parent.empty()) return {};
  return JoinPath(parent, picture ? "ORVENTA Screenshots" : "ORVENTA");
}

std::vector<std::string> FoldersOfOutput(const Config& config, const KnownFolders& folders,
                                         OutputKind kind, GameFolders game_folders) {
  std::vector<std::string> all;
  for (const Candidate& candidate : Candidates(config, folders, kind)) {
    if (!FolderExists(candidate.path)) continue;
    all.push_back(candidate.path);
    if (game_folders == GameFolders::Always) AddFoldersInside(candidate.path, all);
  }
  return all;
}

Status ResolveOutputFolder(const Config& config, const KnownFolders& folders, IClock& clock,
                           OutputKind kind, OutputFolder& out) {
  out = {};
  const std::vector<Candidate> candidates = Candidates(config, folders, kind);
  FileResult first_failure;
  for (const Candidate& candidate : candidates) {
    const FileResult result = TryFolder(candidate.path, clock);
    if (result.ok()) {
      out.path = candidate.path;
      if (&candidate != &candidates.front()) {
        out.fallback = "could not write to " + candidates.front().path + "; falling back to ";
        out.fallback += candidate.label;
      }
      return Status::Ok();
    }
    if (first_failure.ok()) first_failure = result;
  }
  const std::string text = "no writable output directory";
  if (candidates.empty()) return Status(StatusCode::InvalidArgument, text);
  const bool full = first_failure.error == FileError::DriveFull;
  return Status(full ? StatusCode::DriveFull : StatusCode::InvalidArgument,
                text + ": " + candidates.front().path + ": " + first_failure.Text());
}

std::string ExpandPattern(std::string_view pattern, const LocalTime& time) {
  std::string name;
  for (size_t i = 0; i < pattern.size(); ++i) {
    if (pattern[i] == '%' && i + 1 < pattern.size()) {
      name += ExpandField(pattern[++i], time);
    } else {
      name += pattern[i];
    }
  }
  ReplaceForbidden(name);
  return name;
}

std::string SafeFolderName(std::string_view name) {
  std::string safe(name);
  ReplaceForbidden(safe);
  return MakeSafe(safe);
}

Status ResolveOutputPath(const Config& config, const KnownFolders& folders, IClock& clock,
                         const OutputName& name, OutputPath& out) {
  out = {};
  OutputFolder kind_folder;
  if (Status status = ResolveOutputFolder(config, folders, clock, name.kind, kind_folder);
      !status.ok()) {
    return status;
  }
  out.folder = kind_folder.path;
  out.fallback = kind_folder.fallback;

  std::string folder = kind_folder.path;
  const std::string game =
      config.storage.folder_per_game ? SafeFolderName(name.game) : std::string();
  if (!game.empty()) {
    const std::string game_folder = JoinPath(folder, game);
    if (TryFolder(game_folder, clock).ok()) folder = game_folder;
  }

  const LocalTime time = clock.ToLocal(name.wall_ms != 0 ? name.wall_ms : clock.WallMs());
  std::string stem = MakeSafe(ExpandPattern(config.storage.Of(name.kind).filename_pattern, time));
  if (stem.empty()) stem = "ORVENTA";
  out.path = FreePath(folder, stem, name, clock.SteadyNs());
  return Status::Ok();
}

}  // namespace orventa
