// What the window process wants kept for it.
#include "settings/setting.h"

namespace orventa::schema {
namespace {

using C = Config;
using W = Config::Window;

// Rows that a webcam filled once stay in the window.
Value WebcamRowsKept(Member<bool> member) {
  Value value = Bool(member);
  value.stage = CheckStage::Ranges;
  value.correct = [=](Config& config, const Config&) {
    if (config.webcam.enabled) member(config) = true;
    return false;  // a fact to note, nothing to warn of
  };
  return value;
}

struct Section {
  Settings rows;

  void Add(std::string key, Value value, std::string comment) {
    rows.push_back({"window", std::move(key), std::move(value), Effect::None, std::move(comment)});
  }
};

void AppendBehaviour(Section& section) {
  section.Add("remember_position", Bool(At<&C::window, &W::remember_position>),
              "true opens the window where it was closed.");
  section.Add("remember_size", Bool(At<&C::window, &W::remember_size>),
              "true opens the window as large as it was closed.");
  section.Add("always_on_top", Bool(At<&C::window, &W::always_on_top>),
              "true keeps the window above all others.");
  section.Add("fit_clip", Bool(At<&C::window, &W::fit_clip>),
              "true scales a video in the player to the window. false shows it at its own size.");
  section.Add("show_webcam", Bool(At<&C::window, &W::show_webcam>),
              "true shows the camera over a video in the player.");
  section.Add("landing_page", LowerText(At<&C::window, &W::landing_page>),
              "The page that the window opens with, such as home, library or settings.");
  section.Add(
      "open_with", OneOf(At<&C::window, &W::open_with>, {"player", "system"}),
      "What opens a video: player is ORVENTA's own, system is the one that the system uses.");
  section.Add("open_pictures_with",
              OneOf(At<&C::window, &W::open_pictures_with>, {"player", "system"}),
              "What opens a screenshot: player or system.");
  section.Add("playback_device", Text(At<&C::window, &W::playback_device>),
              "The speakers or headphones that the player uses, by the system's id. Empty follows "
              "the system's default.");
  section.Add("event_lead_seconds", Number(At<&C::window, &W::event_lead_seconds>, Clamping(0, 30)),
              "How many seconds before a mark the player begins when you jump to it, 0 to 30.");
  section.Add("hover_preview",
              OneOf(At<&C::window, &W::hover_preview>, {"off", "scrub", "inside", "popup"}),
              "What the library shows of a video under the mouse: off nothing, scrub moves through "
              "it with the mouse, inside plays it in its tile, popup plays it larger.");
}

void AppendStatusRows(Section& section) {
  const auto corner = [&](std::string key, Member<bool> member, const std::string& what) {
    section.Add(std::move(key), Bool(member), "true shows " + what + " in the sidebar's corner.");
  };
  corner("status_video", At<&C::window, &W::status_video>, "the video settings in force");
  corner("status_system_audio", At<&C::window, &W::status_system_audio>, "the computer's sound");
  corner("status_microphone", At<&C::window, &W::status_microphone>, "the microphone");
  corner("status_webcam", At<&C::window, &W::status_webcam>, "the camera");
  corner("status_memory", At<&C::window, &W::status_memory>, "what the replay takes");
  corner("status_drives", At<&C::window, &W::status_drives>, "the room left on the drives");
  const auto card = [&](std::string key, Member<bool> member, const std::string& what) {
    section.Add(std::move(key), Bool(member),
                "true shows " + what + " on the card over the icon by the clock.");
  };
  card("tray_video", At<&C::window, &W::tray_video>, "the video settings in force");
  card("tray_system_audio", At<&C::window, &W::tray_system_audio>, "the computer's sound");
  card("tray_microphone", At<&C::window, &W::tray_microphone>, "the microphone");
  card("tray_webcam", At<&C::window, &W::tray_webcam>, "the camera");
  card("tray_memory", At<&C::window, &W::tray_memory>, "what the replay takes");
  card("tray_drives", At<&C::window, &W::tray_drives>, "the room left on the drives");
  section.Add(
      "webcam_rows_kept", WebcamRowsKept(At<&C::window, &W::webcam_rows_kept>),
      "Whether the camera has ever been on, so that its rows stay. ORVENTA writes this line.");
  section.Add("alert_streamdeck", Bool(At<&C::window, &W::alert_streamdeck>),
              "true says so when the deck's plugin is older than ORVENTA or does not answer.");
}

void AppendLooks(Section& section) {
  section.Add("on_game_found",
              OneOf(At<&C::window, &W::on_game_found>, {"none", "taskbar", "tray"}, "none"),
              "What the window does when a game is found: none, taskbar (minimizes) or tray "
              "(closes to the icon).");
  section.Add("on_game_gone",
              OneOf(At<&C::window, &W::on_game_gone>, {"none", "minimized", "open"}, "none"),
              "What the window does when the game has ended: none, minimized (comes back to the "
              "task bar) or open.");
  section.Add("theme", OneOf(At<&C::window, &W::theme>, {"dark", "light", "system"}),
              "dark, light, or system to go with the system.");
  section.Add("font", Text(At<&C::window, &W::font>),
              "The window's font by its name; empty is its own.");
  section.Add("quick_settings", Text(At<&C::window, &W::quick_settings>),
              "The settings that the home page offers, as section.key with commas between them.");
  section.Add("language", LowerText(At<&C::window, &W::language>),
              "The window's language as a code such as en or de; system goes with the system.");
  section.Add("date_format",
              OneOf(At<&C::window, &W::date_format>, {"auto", "dmy", "mdy", "ymd"}, "auto"),
              "The order of day, month and year: dmy, mdy or ymd. auto goes with the system.");
  section.Add("animations", Bool(At<&C::window, &W::animations>),
              "false lets things appear and go without moving.");
}

void AppendMeters(Section& section) {
  section.Add("meters",
              OneOf(At<&C::window, &W::meters>, {"auto", "smooth", "performance"}, "auto"),
              "How often the sound meters move: smooth often, performance seldom, which costs "
              "less. auto is in between.");
  section.Add("meters_smooth_ms", Number(At<&C::window, &W::meters_smooth_ms>, Ignoring(10, 2000)),
              "Milliseconds between two moves with smooth, 10 to 2000.");
  section.Add("meters_auto_ms", Number(At<&C::window, &W::meters_auto_ms>, Ignoring(10, 2000)),
              "Milliseconds between two moves with auto, 10 to 2000.");
  section.Add("meters_performance_ms",
              Number(At<&C::window, &W::meters_performance_ms>, Ignoring(10, 2000)),
              "Milliseconds between two moves with performance, 10 to 2000.");
  section.Add("welcomed", Bool(At<&C::window, &W::welcomed>),
              "Whether the welcome has been shown. ORVENTA writes this line.");
  section.Add("deck_offered", Bool(At<&C::window, &W::deck_offered>),
              "Whether the deck's plugin has been offered. ORVENTA writes this line.");
  section.Add("show_input_overlay", Bool(At<&C::window, &W::show_input_overlay>),
              "true shows key presses over a video in the player.");
  section.Add("show_captions", Bool(At<&C::window, &W::show_captions>),
              "true shows captions over a video in the player.");
}

}  // namespace

Settings WindowSettings() {
  Section section;
  AppendBehaviour(section);
  AppendStatusRows(section);
  AppendLooks(section);
  AppendMeters(section);
  return std::move(section.rows);
}

}  // namespace orventa::schema
