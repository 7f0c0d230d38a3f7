#include "games/targets/game_list.h"

#include <algorithm>
#include <array>
#include <limits>
#include <optional>
#include <utility>

#include "base/files.h"
#include "base/text.h"
#include "games/targets/known_games.h"
#include "settings/text_file.h"

namespace orventa {
namespace {

constexpr std::string_view kFileName = "gamelist.ini";
constexpr std::string_view kOldFileName = "targets.ini";
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
constexpr std::string_view kExcept = "except";
constexpr std::string_view kRecordSession = "entry.record_session";
constexpr std::string_view kMatchCase = "entry.match_case";

struct KindWord {
  std::string_view word;
  TargetKind kind;
};
constexpr std::array kKindWords = std::to_array<KindWord>({
    {"any-game", TargetKind::AnyGame},
    {"anygame", TargetKind::AnyGame},
    {"game", TargetKind::AnyGame},
    {"desktop", TargetKind::Desktop},
    {"display", TargetKind::Desktop},
    {"monitor", TargetKind::Desktop},
    {"exact", TargetKind::Exact},
    {"path", TargetKind::Path},
    {"exe", TargetKind::Path},
    {"window", TargetKind::Window},
    {"title", TargetKind::Window},
});

constexpr std::string_view kHeader =
    R"(# ORVENTA GAME LIST
#
# One entry per line, highest priority first. The first entry that matches something on screen is recorded.
# Reordering these lines changes priority; the app will let you drag them instead.
# Not everything here has to be a game -- any window or program works.
#
# window:<text>    match when a window title contains <text> (case-insensitive)
# exact:<text>     match when a window title is exactly <text>
# path:<path>      match when a window belongs to this executable
# any-game         match any full-screen or borderless foreground window that is not the desktop
# desktop          capture the main display; desktop:DISPLAY\MSI3CB1\5&2ab2d1a4&0&UID4353 captures that monitor
#                  while it is connected (the game list writes these), and desktop:1 the second display Windows lists
#
# Paths may be quoted or not, so a path copied from Explorer with Shift+Right-click > Copy as path can be pasted straight in. A bare path with no prefix is understood too.
#   path:"C:\Riot Games\League of Legends\LeagueClient.exe"
#   path:C:\Riot Games\League of Legends\LeagueClient.exe
#   "C:\Riot Games\League of Legends\LeagueClient.exe"
#
# Prefix a line with ! to disable it without deleting it.
#
# entry.record_session = true records that program's whole session straight to disk; saving replays still works.
# entry.match_case = true makes a window: or exact: line mind capitals.
# An indented section.key = value line below an entry applies only while that entry is the one being recorded. Anything not named here follows the normal settings.
#   path:"C:\Games\game.exe"
#       video.bitrate_kbps = 50000
#       replay.duration_seconds = 120
#
# Path matching cannot see processes running with higher privileges than ORVENTA, which includes most games with kernel anti-cheat. Match those by title instead.
#
# except <line> keeps any-game away from something it would otherwise adopt: a launcher, or a program Windows has decided is a game.
#   except path:"C:\Riot Games\League of Legends\LeagueClient.exe"
#   except window:Discord
# It stops any-game only. Listing the same program above in its own right still records it, so excluding it and listing it is how you say "only when I ask for it".

)";
constexpr std::string_view kExceptionsHeader =
    "\n# Never adopted by any-game. Listed above in its own right, a program is still recorded.\n";

// Two more kinds of white space than Trim knows.
std::string_view TrimSpace(std::string_view text) {
  constexpr std::string_view kSpace = " \t\n\v\f\r";
  const size_t first = text.find_first_not_of(kSpace);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kSpace) - first + 1);
}

std::string_view Unquote(std::string_view text) {
  const bool quoted = text.size() >= 2 && text.front() == text.back() &&
                      (text.front() == '"' || text.front() == '\'');
  return quoted ? text.substr(1, text.size() - 2) : text;
}

bool IsYes(std::string_view value) {
  constexpr std::array<std::string_view, 4> kYes = {"true", "yes", "1", "on"};
  return std::find(kYes.begin(), kYes.end(), ToLower(value)) != kYes.end();
}

bool IsLetter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

bool IsBarePath(std::string_view text) {
  if (text.starts_with("\\\\")) return true;
  return text.size() >= 3 && IsLetter(text[0]) && text[1] == ':' &&
         (text[2] == '\\' || text[2] == '/');
}

// A display's place in the system's order, if that is what the value is.
std::optional<uint32_t> DisplayIndex(std::string_view value) {
  const std::optional<uint64_t> number = ParseUnsigned(value);
  if (!number || *number > std::numeric_limits<uint32_t>::max()) return std::nullopt;
  return static_cast<uint32_t>(*number);
}

bool NeedsText(TargetKind kind) {
  return kind == TargetKind::Window || kind == TargetKind::Exact || kind == TargetKind::Path;
}

std::optional<std::pair<std::string, std::string>> SettingOf(std::string_view line) {
  const size_t equals = line.find('=');
  if (equals == std::string_view::npos || (line.front() != ' ' && line.front() != '\t')) return {};
  const std::string key = ToLower(TrimSpace(line.substr(0, equals)));
  if (key.find('.') == std::string::npos || key.front() == '.' || key.back() == '.') return {};
  if (key.find_first_of(" \t") != std::string::npos) return {};
  return std::pair(key, std::string(TrimSpace(line.substr(equals + 1))));
}

// The word alone excepts nothing; it is no title either.
bool IsException(std::string_view line) {
  if (!EqualsIgnoreCase(line.substr(0, kExcept.size()), kExcept)) return false;
  constexpr std::string_view kEnds = " \t:";
  return line.size() == kExcept.size() || kEnds.find(line[kExcept.size()]) != kEnds.npos;
}

// `line` is trimmed and neither disabled nor an exception any more.
void ReadTarget(std::string_view line, CaptureTargetEntry& entry) {
  const size_t colon = line.find(':');
  std::string prefix = ToLower(TrimSpace(line.substr(0, colon)));
  std::string_view value =
      colon == std::string_view::npos ? "" : Unquote(TrimSpace(line.substr(colon + 1)));
  if (const std::string_view whole = Unquote(line); IsBarePath(whole)) {
    prefix = "path";
    value = whole;
  }
  const auto* const known =
      std::find_if(kKindWords.begin(), kKindWords.end(),
                   [&](const KindWord& candidate) { return candidate.word == prefix; });
  if (known == kKindWords.end()) {
    entry.kind = TargetKind::Window;
    entry.text = line;
    return;
  }
  entry.kind = known->kind;
  if (NeedsText(entry.kind)) entry.text = value;
  if (entry.kind != TargetKind::Desktop) return;
  if (const std::optional<uint32_t> index = DisplayIndex(value)) {
    entry.display_index = *index;
  } else {
    entry.display_device = value;
  }
}

class Reader {
 public:
  void ReadLine(std::string_view line) {
    if (auto setting = SettingOf(line)) {
      ReadSetting(std::move(*setting));
      return;
    }
    line = TrimSpace(line);
    if (line.empty() || line.front() == '#' || line.front() == ';') return;
    CaptureTargetEntry entry;
    if (line.front() == '!') {
      entry.enabled = false;
      line = TrimSpace(line.substr(1));
    }
    const bool exception = IsException(line);
    if (exception) line = TrimSpace(line.substr(std::min(kExcept.size() + 1, line.size())));
    if (line.empty()) return;
    ReadTarget(line, entry);
    if (NeedsText(entry.kind) && entry.text.empty()) return;
    if (exception && !NeedsText(entry.kind)) return;
    auto& target = exception ? list_.exceptions : list_.entries;
    last_ = &target.emplace_back(std::move(entry));
  }

  GameList Take() { return std::move(list_); }

 private:
  void ReadSetting(std::pair<std::string, std::string> setting) {
    if (last_ == nullptr) return;
    if (setting.first == kRecordSession) {
      last_->record_session = IsYes(setting.second);
    } else if (setting.first == kMatchCase) {
      last_->match_case = IsYes(setting.second);
    } else {
      last_->settings.push_back(std::move(setting));
    }
  }

  GameList list_;
  CaptureTargetEntry* last_ = nullptr;  // what a setting line belongs to
};

// A text that did not come from a file may hold what ends a line in one.
std::string OneLine(std::string_view text) {
  std::string line(text);
  std::replace(line.begin(), line.end(), '\n', ' ');
  return line;
}

// Quoted only where reading the bare text would give another one.
std::string Quotable(std::string_view text) {
  std::string line = OneLine(text);
  return Unquote(TrimSpace(line)) == line ? line : '"' + line + '"';
}

std::string DisplayValue(const CaptureTargetEntry& entry) {
  if (!entry.display_device.empty()) return ":" + Quotable(entry.display_device);
  return entry.display_index == 0 ? std::string() : ":" + std::to_string(entry.display_index);
}

std::string LineOf(const CaptureTargetEntry& entry) {
  switch (entry.kind) {
    case TargetKind::Window: return "window:" + Quotable(entry.text);
    case TargetKind::Exact: return "exact:" + Quotable(entry.text);
    case TargetKind::Path: return "path:\"" + OneLine(entry.text) + "\"";
    case TargetKind::AnyGame: return "any-game";
    case TargetKind::Desktop: return "desktop" + DisplayValue(entry);
  }
  return {};
}

bool CanBeWritten(const CaptureTargetEntry& entry) {
  return !NeedsText(entry.kind) || !entry.text.empty();
}

void AppendSetting(std::string& text, std::string_view key, std::string_view value) {
  text += "    ";
  text += OneLine(key);
  text += " = ";
  text += OneLine(value);
  text += '\n';
}

std::string OldPathOf(std::string_view path) {
  return JoinPath(ParentFolder(path), kOldFileName);
}

}  // namespace

GameList DefaultGameList() {
  GameList list;
  list.entries.resize(2);
  list.entries[0].kind = TargetKind::AnyGame;
  list.entries[1].kind = TargetKind::Desktop;
  list.entries[1].enabled = false;
  return list;
}

std::string GameListPath(std::string_view config_dir) {
  return JoinPath(config_dir, kFileName);
}

GameList ParseGameList(std::string_view text) {
  if (text.starts_with(kByteOrderMark)) text.remove_prefix(kByteOrderMark.size());
  Reader reader;
  while (!text.empty()) {
    const size_t end = std::min(text.find('\n'), text.size());
    if (end > 0) reader.ReadLine(text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  GameList list = reader.Take();
  if (list.entries.empty()) list.entries = DefaultGameList().entries;
  return list;
}

std::string GameListText(const GameList& list) {
  std::string text(kHeader);
  for (const CaptureTargetEntry& entry : list.entries) {
    if (!CanBeWritten(entry)) continue;
    text += entry.enabled ? "" : "!";
    text += LineOf(entry) + '\n';
    if (entry.record_session) AppendSetting(text, kRecordSession, "true");
    if (entry.match_case) AppendSetting(text, kMatchCase, "true");
    for (const auto& [key, value] : entry.settings) AppendSetting(text, key, value);
  }
  if (list.exceptions.empty()) return text;
  text += kExceptionsHeader;
  for (const CaptureTargetEntry& exception : list.exceptions) {
    if (!CanBeWritten(exception)) continue;
    text += exception.enabled ? "" : "!";
    text += "except " + LineOf(exception) + '\n';
    if (exception.match_case) AppendSetting(text, kMatchCase, "true");
  }
  return text;
}

Status LoadGameList(IClock& clock, const std::string& path, GameList& out, bool* file_current) {
  SettingsTextFile file;
  if (Status status = ReadSettingsText(clock, path, file); !status.ok()) return status;
  const bool current = file.existed && !file.from_backup;
  if (!file.existed && !file.unusable) {
    if (Status status = ReadSettingsText(clock, OldPathOf(path), file); !status.ok()) return status;
  }
  out = file.existed ? ParseGameList(file.text) : DefaultGameList();
  if (file_current != nullptr) *file_current = current;
  return {};
}

Status SaveGameList(const GameList& list, const std::string& path) {
  const std::string text = GameListText(list);
  // Readers take such a file for one that a crash left half written.
  if (text.find('\0') != std::string::npos) {
    return {StatusCode::InvalidArgument, "a zero byte cannot be written to " + path};
  }
  return WriteSettingsText(path, text, KeepBackup::Yes);
}

std::string TargetEntryName(const CaptureTargetEntry& entry) {
  switch (entry.kind) {
    case TargetKind::Window:
    case TargetKind::Exact: return entry.text;
    case TargetKind::Path: return std::string(ProgramFileName(entry.text));
    case TargetKind::AnyGame: return "Game";
    case TargetKind::Desktop: break;
  }
  if (!entry.display_device.empty()) {
    constexpr std::string_view kDevicePrefix = "\\\\.\\";
    std::string_view name = entry.display_device;
    if (name.starts_with(kDevicePrefix)) name.remove_prefix(kDevicePrefix.size());
    return std::string(name);
  }
  if (entry.display_index == 0) return "Primary display";
  return Format("Display %llu", static_cast<unsigned long long>(entry.display_index) + 1);
}

}  // namespace orventa
