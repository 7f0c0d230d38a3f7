// Updates and notifications.
#include "base/text.h"
#include "settings/setting.h"

namespace orventa::schema {
namespace {

using C = Config;
using U = Config::Updates;
using N = Config::Notifications;
using K = Config::Notifications::Kind;

const std::vector<std::string_view> kCorners = {"top_left", "top_right", "bottom_left",
                                                "bottom_right"};

Value Frequency(Member<std::string> member) {
  Value value = LowerText(member);
  value.stage = CheckStage::Ranges;
  value.correct = [=](Config& config, const Config& defaults) {
    static const std::vector<std::string_view> kWords = {"startup", "hourly", "daily", "weekly",
                                                         "monthly"};
    if (FindWord(kWords, {}, Of(member, config))) return false;
    member(config) = Of(member, defaults);
    return true;
  };
  return value;
}

Value Display(Member<std::string> member) {
  Value value = LowerText(member);
  value.read = [=](Config& config, std::string_view text) {
    if (!EqualsIgnoreCase(text, "automatic") && !ParseUnsigned(text)) return Taken::Ignored;
    member(config) = ToLower(text);
    return Taken::AsIs;
  };
  return value;
}

// "sound" was once a word for what is now left to ORVENTA.
Value WhilePlaying(Member<std::string> member) {
  Value value = OneOf(member, {"automatic", "card", "sound_only", "nothing"});
  value.read = [word = std::move(value.read)](Config& config, std::string_view text) {
    return word(config, EqualsIgnoreCase(text, "sound") ? "automatic" : text);
  };
  return value;
}

void AppendUpdates(Settings& rows) {
  const auto add = [&](std::string key, Value value, std::string comment) {
    rows.push_back({"updates", std::move(key), std::move(value), Effect::None, std::move(comment)});
  };
  add("check_automatically", Bool(At<&C::updates, &U::check_automatically>),
      "true looks for new versions by itself. Nothing about you is sent.");
  add("frequency", Frequency(At<&C::updates, &U::frequency>),
      "How often it looks: startup, hourly, daily, weekly or monthly.");
  add("download_automatically", Bool(At<&C::updates, &U::download_automatically>),
      "true downloads a new version at once, in the background. false only says that there is "
      "one.");
  add("install_automatically", Bool(At<&C::updates, &U::install_automatically>),
      "true installs what was downloaded while no game runs. false waits for you.");
  add("last_check", Number(At<&C::updates, &U::last_check>),
      "When it last looked, in seconds since 1970. ORVENTA writes this line.");
  add("last_version_seen", Text(At<&C::updates, &U::last_version_seen>),
      "The version that last ran. ORVENTA writes this line.");
  add("newest_seen", Text(At<&C::updates, &U::newest_seen>),
      "The newest version that has been heard of. ORVENTA writes this line.");
}

void AppendGeneral(Settings& rows) {
  const auto add = [&](std::string key, Value value, std::string comment) {
    rows.push_back(
        {"notifications", std::move(key), std::move(value), Effect::None, std::move(comment)});
  };
  add("enabled", Bool(At<&C::notifications, &N::enabled>),
      "false shows no notification at all. Sounds have a switch of their own.");
  add("sound", Bool(At<&C::notifications, &N::sound>),
      "false plays no sound with any notification.");
  add("style", OneOf(At<&C::notifications, &N::style>, {"orventa", "windows"}),
      "orventa shows cards of its own. windows uses the system's notifications, which keep a list "
      "of them and may hold them back while a game runs.");
  add("while_playing", WhilePlaying(At<&C::notifications, &N::while_playing>),
      "What you get while a game has the screen: automatic, card, sound_only or nothing. automatic "
      "shows a card on another display, if there is one, and plays the sound alone "
      "otherwise.\n|card never costs more than frames: over a game holding a display outright, "
      "which would minimize if anything were drawn there, the card is never shown and the sound "
      "stands in. sound_only plays the sound alone on any number of screens, and nothing means "
      "nothing at all while playing.");
  add("display", Display(At<&C::notifications, &N::display>),
      "The display that cards are shown on: automatic, or the number of the display, the first "
      "being 1.");
  add("playing_display", Display(At<&C::notifications, &N::playing_display>),
      "The same while a game has the screen. automatic prefers one that the game is not on.");
  add("corner", OneOf(At<&C::notifications, &N::corner>, kCorners),
      "The corner of the display: top_left, top_right, bottom_left or bottom_right.");
  add("playing_corner", OneOf(At<&C::notifications, &N::playing_corner>, kCorners),
      "The same while a game has the screen.");
}

template <auto kKind>
void AppendKind(Settings& rows, std::string kind, std::string comment) {
  const auto add = [&](std::string_view key, Value value, std::string text) {
    rows.push_back({"notifications", kind + std::string(key), std::move(value), Effect::None,
                    std::move(text)});
  };
  add("_enabled", Bool(At<&C::notifications, kKind, &K::enabled>), std::move(comment));
  add("_sound", Bool(At<&C::notifications, kKind, &K::sound>), {});
  add("_click",
      Words(At<&C::notifications, kKind, &K::click>,
            {"folder", "file", "player", "gui", "library", "changelog", "none"}),
      {});
}

void AppendKinds(Settings& rows) {
  AppendKind<&N::replay_saved>(
      rows, "replay_saved",
      "For each kind of notification: whether it is shown, whether it is heard, and what a click "
      "on it does. folder opens the file's folder, file opens the file, player plays it, gui opens "
      "the window, library opens it at the library, changelog opens what is new, none does "
      "nothing.\nA replay or a clip was saved.");
  AppendKind<&N::replay_failed>(rows, "replay_failed", "A replay or a clip could not be saved.");
  AppendKind<&N::recording>(rows, "recording", "A recording began or ended.");
  AppendKind<&N::screenshot>(rows, "screenshot", "A screenshot was taken.");
  AppendKind<&N::buffer_paused>(rows, "buffer_paused", "The replay was stopped or started again.");
  AppendKind<&N::audio_changed>(rows, "audio_changed",
                                "Sound, microphone, camera or profile was changed with a key.");
  AppendKind<&N::problem>(rows, "problem", "Something is wrong, and nothing is recorded or kept.");
  AppendKind<&N::marker>(rows, "marker", "A marker was set.");
  AppendKind<&N::running_in_background>(
      rows, "running_in_background",
      "The window was closed and ORVENTA runs on. Shown once for each profile.");
  AppendKind<&N::update_available>(rows, "update_available", "There is a new version.");
  AppendKind<&N::updated>(rows, "updated", "ORVENTA was updated.");
  AppendKind<&N::export_done>(rows, "export_done", "A video was exported, or could not be.");
}

}  // namespace

Settings NoticeSettings() {
  Settings rows;
  AppendUpdates(rows);
  AppendGeneral(rows);
  AppendKinds(rows);
  return rows;
}

}  // namespace orventa::schema
