#include "games/targets/find_game.h"

#include <algorithm>
#include <array>
#include <optional>
#include <utility>

#include "base/text.h"
#include "games/targets/known_games.h"

namespace orventa {
namespace {

enum class NameOf { ClassPrefix, Class, Program, ClassOrProgram };

// What any-game never takes. Classes as the system has them, programs in lower
// case. Names of all systems stand together: they do not clash.
struct NeverAGame {
  NameOf what;
  std::string_view name;
  const char* why;
};
constexpr const char* kBrowser = "a browser's window";
constexpr const char* kDesktop = "part of the desktop";
constexpr const char* kPlayer = "a player of films or pictures";
constexpr const char* kOurs = "part of ORVENTA";
constexpr const char* kStore = "a store's window";
constexpr const char* kOther = "not a game";
constexpr auto kNeverAGame = std::to_array<NeverAGame>({
    {NameOf::ClassPrefix, "Chrome_WidgetWin_", kBrowser},
    {NameOf::Class, "MozillaWindowClass", kBrowser},
    {NameOf::Class, "Progman", kDesktop},
    {NameOf::Class, "WorkerW", kDesktop},
    {NameOf::Program, "vlc.exe", kPlayer},
    {NameOf::Program, "mpv.exe", kPlayer},
    {NameOf::Program, "mpc-hc.exe", kPlayer},
    {NameOf::Program, "mpc-hc64.exe", kPlayer},
    {NameOf::Program, "mpc-be.exe", kPlayer},
    {NameOf::Program, "mpc-be64.exe", kPlayer},
    {NameOf::Program, "potplayer.exe", kPlayer},
    {NameOf::Program, "potplayermini.exe", kPlayer},
    {NameOf::Program, "potplayermini64.exe", kPlayer},
    {NameOf::Program, "video.ui.exe", kPlayer},
    {NameOf::Program, "microsoft.photos.exe", kPlayer},
    {NameOf::Program, "explorer.exe", kDesktop},
    {NameOf::Program, "quicktimeplayer.exe", kPlayer},
    {NameOf::Program, "orventa.exe", kOurs},
    {NameOf::Program, "orventa gui.exe", kOurs},
    {NameOf::Program, "eadesktop.exe", kStore},
    {NameOf::Program, "epicgameslauncher.exe", kStore},
    {NameOf::Program, "upc.exe", kStore},
    {NameOf::Program, "ubisoftconnect.exe", kStore},
    {NameOf::Program, "battle.net.exe", kStore},
    {NameOf::Program, "galaxyclient.exe", kStore},
    {NameOf::Program, "steam.exe", kStore},
    {NameOf::Program, "leagueclient.exe", "the client of League of Legends"},
    {NameOf::Program, "leagueclientux.exe", "the client of League of Legends"},
    {NameOf::Program, "leagueclientuxrender.exe", "the client of League of Legends"},
    {NameOf::Program, "iracingui.exe", "the client of iRacing"},

    {NameOf::ClassOrProgram, "firefox", kBrowser},
    {NameOf::ClassOrProgram, "firefox-esr", kBrowser},
    {NameOf::ClassOrProgram, "firefox-bin", kBrowser},
    {NameOf::ClassOrProgram, "librewolf", kBrowser},
    {NameOf::ClassOrProgram, "navigator", kBrowser},
    {NameOf::Program, "chrome", kBrowser},
    {NameOf::ClassOrProgram, "google-chrome", kBrowser},
    {NameOf::ClassOrProgram, "chromium", kBrowser},
    {NameOf::ClassOrProgram, "chromium-browser", kBrowser},
    {NameOf::Program, "brave", kBrowser},
    {NameOf::ClassOrProgram, "brave-browser", kBrowser},
    {NameOf::ClassOrProgram, "microsoft-edge", kBrowser},
    {NameOf::Program, "msedge", kBrowser},
    {NameOf::Program, "opera", kBrowser},
    {NameOf::Program, "vivaldi-bin", kBrowser},
    {NameOf::ClassOrProgram, "vivaldi-stable", kBrowser},
    {NameOf::ClassOrProgram, "epiphany", kBrowser},
    {NameOf::ClassOrProgram, "falkon", kBrowser},
    {NameOf::ClassOrProgram, "thunderbird", kOther},
    {NameOf::ClassOrProgram, "discord", kOther},
    {NameOf::ClassOrProgram, "slack", kOther},
    {NameOf::ClassOrProgram, "spotify", kOther},
    {NameOf::ClassOrProgram, "obs", kOther},
    {NameOf::ClassOrProgram, "vlc", kPlayer},
    {NameOf::ClassOrProgram, "mpv", kPlayer},
    {NameOf::ClassOrProgram, "totem", kPlayer},
    {NameOf::ClassOrProgram, "celluloid", kPlayer},
    {NameOf::ClassOrProgram, "smplayer", kPlayer},
    {NameOf::ClassOrProgram, "mplayer", kPlayer},
    {NameOf::ClassOrProgram, "haruna", kPlayer},
    {NameOf::ClassOrProgram, "kodi.bin", kPlayer},
    {NameOf::Program, "kodi-x11", kPlayer},
    {NameOf::ClassOrProgram, "eog", kPlayer},
    {NameOf::ClassOrProgram, "gwenview", kPlayer},
    {NameOf::ClassOrProgram, "gnome-shell", kDesktop},
    {NameOf::ClassOrProgram, "plasmashell", kDesktop},
    {NameOf::ClassOrProgram, "kwin_x11", kDesktop},
    {NameOf::ClassOrProgram, "xfdesktop", kDesktop},
    {NameOf::ClassOrProgram, "xfce4-panel", kDesktop},
    {NameOf::ClassOrProgram, "cinnamon", kDesktop},
    {NameOf::ClassOrProgram, "mate-panel", kDesktop},
    {NameOf::ClassOrProgram, "lxqt-panel", kDesktop},
    {NameOf::ClassOrProgram, "lxpanel", kDesktop},
    {NameOf::ClassOrProgram, "pcmanfm", kDesktop},
    {NameOf::ClassOrProgram, "pcmanfm-qt", kDesktop},
    {NameOf::ClassOrProgram, "nemo-desktop", kDesktop},
    {NameOf::ClassOrProgram, "nemo", kDesktop},
    {NameOf::ClassOrProgram, "caja", kDesktop},
    {NameOf::ClassOrProgram, "nautilus", kDesktop},
    {NameOf::ClassOrProgram, "org.gnome.nautilus", kDesktop},
    {NameOf::ClassOrProgram, "dolphin", kDesktop},
    {NameOf::ClassOrProgram, "thunar", kDesktop},
    {NameOf::ClassOrProgram, "orventa", kOurs},
    {NameOf::ClassOrProgram, "orventa gui", kOurs},
    {NameOf::ClassOrProgram, "steam", kStore},
    {NameOf::ClassOrProgram, "steamwebhelper", kStore},
    {NameOf::ClassOrProgram, "lutris", kStore},
    {NameOf::ClassOrProgram, "heroic", kStore},
    {NameOf::ClassOrProgram, "itch", kStore},
    {NameOf::ClassOrProgram, "com.usebottles.bottles", kStore},
});

bool NamedBy(const NeverAGame& row, std::string_view program, std::string_view window_class) {
  switch (row.what) {
    case NameOf::ClassPrefix: return window_class.starts_with(row.name);
    case NameOf::Class: return window_class == row.name;
    case NameOf::Program: return program == row.name;
    case NameOf::ClassOrProgram:
      return program == row.name ||
             (window_class.size() == row.name.size() && EqualsIgnoreCase(window_class, row.name));
  }
  return false;
}

const char* WhyNeverAGame(std::string_view lower_exe_path, std::string_view window_class) {
  const std::string_view program = ProgramFileName(lower_exe_path);
  for (const NeverAGame& row : kNeverAGame) {
    if (NamedBy(row, program, window_class)) return row.why;
  }
  return nullptr;
}

// A text ready for searching: in lower case, with a bit for each pair of
// neighbouring bytes (several pairs share one), so that most texts that do not
// hold another are told without looking at a byte.
struct Lowered {
  explicit Lowered(std::string_view from) : text(ToLowerUnicode(from)) {
    for (size_t i = 1; i < text.size(); ++i) {
      const auto pair = static_cast<uint32_t>(static_cast<uint8_t>(text[i - 1])) * 31U +
                        static_cast<uint8_t>(text[i]);
      pairs |= uint64_t{1} << (pair % 64);
    }
  }
  bool Holds(const Lowered& part) const {
    return (part.pairs & ~pairs) == 0 && text.find(part.text) != std::string::npos;
  }

  std::string text;
  uint64_t pairs = 0;
};

// What an entry or exception looks for, ready for comparing.
struct Pattern {
  explicit Pattern(const CaptureTargetEntry& from) : entry(&from), lower(from.text) {}

  const CaptureTargetEntry* entry;
  Lowered lower;
};

struct Judgement {
  enum class Verdict {
    Candidate,
    Excepted,
    NeverAGame,
    NotFilling,
    Decorated,
    DecoratedElsewhere,
    Behind,
    NotReached,
  };
  Verdict verdict = Verdict::NotReached;
  size_t exception = 0;  // Excepted: its place in the list
  int rank = 0;          // Candidate
};

std::string_view WithoutDevicePrefix(std::string_view name) {
  constexpr std::string_view kPrefix = "\\\\.\\";
  if (name.starts_with(kPrefix)) name.remove_prefix(kPrefix.size());
  return name;
}

// What one entry finds: a row of the windows or of the displays.
struct Hit {
  CaptureSource::Kind kind = CaptureSource::Kind::Window;
  size_t row = 0;
};

// One question. Lower-case texts of the rows are made when first needed and serve
// all entries.
class Decision {
 public:
  Decision(const GameList& list, const FindPolicy& policy, const DesktopSnapshot& desktop,
           uint64_t current_target)
      : list_(list), policy_(policy), desktop_(desktop), current_target_(current_target) {
    titles_.resize(desktop.windows.size());
    paths_.resize(desktop.windows.size());
    const auto primary = std::find_if(desktop.displays.begin(), desktop.displays.end(),
                                      [](const DisplayInfo& display) { return display.primary; });
    if (primary != desktop.displays.end()) {
      primary_ = static_cast<size_t>(primary - desktop.displays.begin());
    }
  }

  // Enabled or not. For any-game, `judged` (may be null) gets a judgement a window.
  std::optional<Hit> Find(const CaptureTargetEntry& entry,
                          std::vector<Judgement>* judged = nullptr) {
    if (entry.kind == TargetKind::Desktop) return FindDisplay(entry);
    if (entry.kind == TargetKind::AnyGame) return FindAnyGame(judged);
    const Pattern pattern(entry);
    for (size_t row = 0; row < desktop_.windows.size(); ++row) {
      if (Matches(pattern, row)) return Hit{.row = row};
    }
    return std::nullopt;
  }

  // Null: nothing speaks against it.
  const char* NeverAGame(size_t row) {
    return WhyNeverAGame(Path(row), desktop_.windows[row].window_class);
  }

  bool Matches(const Pattern& pattern, size_t row) {
    const WindowInfo& window = desktop_.windows[row];
    const CaptureTargetEntry& entry = *pattern.entry;
    switch (entry.kind) {
      case TargetKind::Window:
        return entry.match_case ? window.title.find(entry.text) != std::string::npos
                                : Title(row).Holds(pattern.lower);
      case TargetKind::Exact:
        return entry.match_case ? window.title == entry.text
                                : Title(row).text == pattern.lower.text;
      case TargetKind::Path: return !window.exe_path.empty() && Path(row) == pattern.lower.text;
      case TargetKind::AnyGame:
      case TargetKind::Desktop: break;
    }
    return false;
  }

  void Fill(const CaptureTargetEntry& entry, const Hit& hit, CaptureSource& out) const {
    out.kind = hit.kind;
    if (hit.kind == CaptureSource::Kind::Window) {
      const WindowInfo& window = desktop_.windows[hit.row];
      out.handle = window.hwnd;
      out.description = window.title.empty() ? TargetEntryName(entry) : window.title;
      return;
    }
    const DisplayInfo& display = desktop_.displays[hit.row];
    out.handle = hit.kind == CaptureSource::Kind::Monitor ? display.monitor : 0;
    out.description = DisplayName(entry, display);
    out.description += Format(": %ux%u", display.width, display.height);
    if (hit.row == primary_) out.description += " (Primary Monitor)";
  }

 private:
  const Lowered& Title(size_t row) {
    std::optional<Lowered>& title = titles_[row];
    if (!title) title.emplace(desktop_.windows[row].title);
    return *title;
  }
  const std::string& Path(size_t row) {
    std::optional<std::string>& path = paths_[row];
    if (!path) path = ToLowerUnicode(desktop_.windows[row].exe_path);
    return *path;
  }

  static bool NamesNoDisplay(const CaptureTargetEntry& entry) {
    return entry.display_device.empty() && entry.display_index == 0;
  }
  static std::string DisplayName(const CaptureTargetEntry& entry, const DisplayInfo& display) {
    if (!display.friendly_name.empty()) return display.friendly_name;
    if (NamesNoDisplay(entry)) return TargetEntryName(entry);
    return std::string(WithoutDevicePrefix(display.device_name));
  }

  std::optional<Hit> FindDisplay(const CaptureTargetEntry& entry) const {
    const std::vector<DisplayInfo>& displays = desktop_.displays;
    size_t row = entry.display_index == 0 ? primary_ : entry.display_index;
    if (!entry.display_device.empty()) {
      const std::string wanted = ToLowerUnicode(WithoutDevicePrefix(entry.display_device));
      const auto is_wanted = [&](const std::string& name) {
        return ToLowerUnicode(WithoutDevicePrefix(name)) == wanted;
      };
      const auto found =
          std::find_if(displays.begin(), displays.end(), [&](const DisplayInfo& display) {
            return is_wanted(display.stable_id) || is_wanted(display.device_name);
          });
      row = static_cast<size_t>(found - displays.begin());
    }
    if (row >= displays.size()) return std::nullopt;
    const bool is_main = row == primary_ && NamesNoDisplay(entry);
    return Hit{is_main ? CaptureSource::Kind::MainDisplay : CaptureSource::Kind::Monitor, row};
  }

  std::optional<Hit> FindAnyGame(std::vector<Judgement>* judged) {
    if (judged != nullptr) judged->assign(desktop_.windows.size(), {});
    std::optional<Hit> best;
    int best_rank = -1;
    for (size_t row = 0; row < desktop_.windows.size(); ++row) {
      const Judgement judgement = Judge(row);
      if (judged != nullptr) (*judged)[row] = judgement;
      // What lies behind something excepted never takes over from what lies before
      // it, in front or not.
      if (judgement.verdict == Judgement::Verdict::Excepted && best) break;
      if (judgement.verdict != Judgement::Verdict::Candidate) continue;
      if (judgement.rank > best_rank) {
        best = Hit{.row = row};
        best_rank = judgement.rank;
      }
    }
    return best;
  }

  const std::vector<Pattern>& Exceptions() {
    if (!exceptions_) {
      exceptions_.emplace();
      for (const CaptureTargetEntry& entry : list_.exceptions) exceptions_->emplace_back(entry);
    }
    return *exceptions_;
  }

  Judgement Judge(size_t row) {
    using Verdict = Judgement::Verdict;
    const WindowInfo& window = desktop_.windows[row];
    const std::vector<Pattern>& exceptions = Exceptions();
    for (size_t i = 0; i < exceptions.size(); ++i) {
      if (exceptions[i].entry->enabled && Matches(exceptions[i], row)) {
        return {.verdict = Verdict::Excepted, .exception = i};
      }
    }
    if (!(policy_.windowed_as_game && window.known_game)) {
      if (const Verdict verdict = JudgeShape(window); verdict != Verdict::Candidate) {
        return {.verdict = verdict};
      }
    }
    if (!window.foreground && !window.covers_monitor && !IsCurrent(window)) {
      return {.verdict = Verdict::Behind};
    }
    // Last, as the one test that costs something.
    if (NeverAGame(row) != nullptr) return {.verdict = Verdict::NeverAGame};
    return {.verdict = Verdict::Candidate,
            .rank = (window.foreground ? 2 : 0) + (window.on_primary ? 1 : 0)};
  }

  // Of a program that nothing knows as a game.
  Judgement::Verdict JudgeShape(const WindowInfo& window) const {
    using Verdict = Judgement::Verdict;
    if (!window.fills_monitor) return Verdict::NotFilling;
    if (!window.maximized && !window.resizable) return Verdict::Candidate;
    switch (policy_.maximized_as_game) {
      case MaximizedAsGame::Never: return Verdict::Decorated;
      case MaximizedAsGame::Primary:
        return window.on_primary ? Verdict::Candidate : Verdict::DecoratedElsewhere;
      case MaximizedAsGame::Any: break;
    }
    return Verdict::Candidate;
  }

  bool IsCurrent(const WindowInfo& window) const {
    return current_target_ != 0 && window.hwnd == current_target_;
  }

  const GameList& list_;
  const FindPolicy policy_;
  const DesktopSnapshot& desktop_;
  const uint64_t current_target_;
  size_t primary_ = 0;
  std::vector<std::optional<Lowered>> titles_;
  std::vector<std::optional<std::string>> paths_;
  std::optional<std::vector<Pattern>> exceptions_;
};

// An entry as its line in the file would be, on one line of an answer.
std::string EntryLabel(const CaptureTargetEntry& entry) {
  switch (entry.kind) {
    case TargetKind::Window: return "window:" + entry.text;
    case TargetKind::Exact: return "exact:" + entry.text;
    case TargetKind::Path: return "path:" + entry.text;
    case TargetKind::AnyGame: return "any-game";
    case TargetKind::Desktop: break;
  }
  if (!entry.display_device.empty()) return "desktop:" + entry.display_device;
  return entry.display_index == 0 ? "desktop" : Format("desktop:%u", entry.display_index);
}

// Titles are other programs' texts: they must not end a line of the answer.
std::string Printable(std::string text) {
  std::replace_if(
      text.begin(), text.end(), [](char c) { return static_cast<uint8_t>(c) < 0x20 || c == 0x7F; },
      ' ');
  return text;
}

class Explanation {
 public:
  Explanation(const GameList& list, const FindPolicy& policy, const DesktopSnapshot& desktop,
              uint64_t current_target)
      : list_(list),
        policy_(policy),
        desktop_(desktop),
        current_target_(current_target),
        decision_(list, policy, desktop, current_target) {}

  std::string Tell() {
    Ask();
    std::string text;
    for (size_t row = 0; row < desktop_.displays.size(); ++row) text += DisplayLine(row);
    for (size_t row = 0; row < desktop_.windows.size(); ++row) text += WindowLine(row);
    for (size_t i = 0; i < list_.entries.size(); ++i) text += EntryLine(i);
    if (!winner_) text += "   nothing on the list is open\n";
    return text;
  }

 private:
  void Ask() {
    for (const CaptureTargetEntry& entry : list_.entries) {
      const bool any_game = entry.kind == TargetKind::AnyGame && entry.enabled;
      hits_.push_back(decision_.Find(entry, any_game ? &judged_ : nullptr));
      patterns_.emplace_back(entry);
      if (any_game) any_game_ = hits_.size() - 1;
      if (entry.enabled && hits_.back() && !winner_) winner_ = hits_.size() - 1;
    }
  }

  std::string DisplayLine(size_t row) const {
    const DisplayInfo& display = desktop_.displays[row];
    std::string text = Format("display %zu: ", row) + display.device_name;
    if (!display.friendly_name.empty()) text += ", " + display.friendly_name;
    text += Format(", %ux%u", display.width, display.height);
    if (display.primary) text += ", main display";
    if (!display.stable_id.empty()) text += ", id " + display.stable_id;
    return Printable(std::move(text)) + "\n";
  }

  std::string WindowLine(size_t row) {
    const WindowInfo& window = desktop_.windows[row];
    std::string text = "window \"" + window.title + "\"";
    text += Format(", %ux%u, ", window.client_width, window.client_height);
    text += window.exe_path.empty() ? "program not readable" : window.exe_path;
    text += ", class " + window.window_class;
    const std::pair<bool, const char*> flags[] = {
        {window.foreground, "in front"},
        {window.fills_monitor, "fills its monitor"},
        {window.covers_monitor, "covers its monitor"},
        {window.on_primary, "on the main display"},
        {window.maximized, "maximized"},
        {window.resizable, "resizable"},
        {window.known_game, "known game"},
        {current_target_ != 0 && window.hwnd == current_target_, "captured now"},
    };
    for (const auto& [set, name] : flags) {
      if (set) text += std::string(", ") + name;
    }
    return Printable(text + ": " + WhatBecameOf(row)) + "\n";
  }

  std::string WhatBecameOf(size_t row) {
    std::string text;
    for (size_t i = 0; i < list_.entries.size(); ++i) {
      if (!list_.entries[i].enabled || !decision_.Matches(patterns_[i], row)) continue;
      const bool first = hits_[i]->row == row;
      text += std::string(first ? "found by " : "behind the one found by ") +
              EntryLabel(list_.entries[i]) + ", ";
    }
    if (any_game_) {
      text += AnyGameSays(row);
    } else if (text.empty()) {
      text = "no entry matches";
    } else {
      text.resize(text.size() - 2);
    }
    return text;
  }

  std::string AnyGameSays(size_t row) {
    using Verdict = Judgement::Verdict;
    const Judgement& judgement = judged_[row];
    if (judgement.verdict == Verdict::Candidate) {
      return hits_[*any_game_]->row == row ? "found by any-game"
                                           : "a game, but any-game found a better one";
    }
    if (judgement.verdict == Verdict::NotReached) {
      return "not looked at by any-game: a game and something excepted lie before it";
    }
    return "passed over by any-game: " + WhyPassedOver(row, judgement);
  }

  std::string WhyPassedOver(size_t row, const Judgement& judgement) {
    using Verdict = Judgement::Verdict;
    if (judgement.verdict == Verdict::Excepted) {
      return "excepted by " + EntryLabel(list_.exceptions[judgement.exception]);
    }
    // Says more than any word on its size or place, whichever decided.
    if (const char* const never = decision_.NeverAGame(row)) return never;
    switch (judgement.verdict) {
      case Verdict::NotFilling:
        return desktop_.windows[row].known_game
                   ? "does not fill its monitor, and games in windows are not taken"
                   : "does not fill its monitor and is not known as a game";
      case Verdict::Decorated: return "maximized and resizable windows are not taken";
      case Verdict::DecoratedElsewhere:
        return "maximized and resizable windows are taken on the main display only";
      case Verdict::Behind: return "not in front and does not cover its monitor";
      default: return {};
    }
  }

  std::string EntryLine(size_t i) const {
    const CaptureTargetEntry& entry = list_.entries[i];
    std::string text = (winner_ && *winner_ == i) ? "-> " : "   ";
    text += Format("%zu. ", i + 1) + EntryLabel(entry) + ": ";
    if (!entry.enabled) {
      text += "disabled";
    } else if (!hits_[i]) {
      text += "nothing";
    } else {
      CaptureSource source;
      decision_.Fill(entry, *hits_[i], source);
      text += source.description;
    }
    return Printable(std::move(text)) + "\n";
  }

  const GameList& list_;
  const FindPolicy policy_;
  const DesktopSnapshot& desktop_;
  const uint64_t current_target_;
  Decision decision_;
  std::vector<std::optional<Hit>> hits_;  // an entry each
  std::vector<Pattern> patterns_;         // likewise
  std::vector<Judgement> judged_;         // a window each, when there is an any-game
  std::optional<size_t> any_game_;
  std::optional<size_t> winner_;
};

}  // namespace

FindPolicy FindPolicyOf(const Config& config) {
  return {config.capture.maximized_as_game, config.capture.windowed_as_game};
}

Status ResolveCaptureSource(const GameList& list, const FindPolicy& policy,
                            const DesktopSnapshot& desktop, uint64_t current_target,
                            CaptureSource& out) {
  Decision decision(list, policy, desktop, current_target);
  for (size_t i = 0; i < list.entries.size(); ++i) {
    const CaptureTargetEntry& entry = list.entries[i];
    if (!entry.enabled) continue;
    if (const std::optional<Hit> hit = decision.Find(entry)) {
      decision.Fill(entry, *hit, out);
      out.entry_index = i;
      return {};
    }
  }
  return {StatusCode::NoTarget, "nothing on the capture target list is currently open"};
}

std::string ExplainCaptureSource(const GameList& list, const FindPolicy& policy,
                                 const DesktopSnapshot& desktop, uint64_t current_target) {
  return Explanation(list, policy, desktop, current_target).Tell();
}

bool EligibleForAnyGame(const std::string& exe_path, const std::string& window_class) {
  return WhyNeverAGame(ToLowerUnicode(exe_path), window_class) == nullptr;
}

}  // namespace orventa
