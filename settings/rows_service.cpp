// The keys, and how the service itself behaves.

#include "settings/setting.h"

namespace orventa::schema {
namespace {

using C = Config;
using H = Config::Hotkeys;
using S = Config::Service;

void AppendHotkeys(Settings& rows) {
  const auto add = [&](std::string key, Value value, std::string comment) {
    rows.push_back({"hotkeys", std::move(key), std::move(value), Effect::None, std::move(comment)});
  };
  const auto key = [&](std::string name, Member<std::string> member, std::string comment) {
    add(std::move(name), Text(member), std::move(comment));
  };
  key("save_replay", At<&C::hotkeys, &H::save_replay>,
      "Saves the whole replay. A combination is written like Ctrl+Alt+F9: any of Ctrl, Alt, Shift "
      "and Win, and one more key; several have commas between them. Empty leaves an action without "
      "a key. The lines below are written the same way.");
  key("save_clip", At<&C::hotkeys, &H::save_clip>,
      "Saves only the newest part of the replay, as many seconds as save_seconds of [service] "
      "says.");
  key("toggle_recording", At<&C::hotkeys, &H::toggle_recording>, "Starts and ends a recording.");
  key("toggle_pause", At<&C::hotkeys, &H::toggle_pause>,
      "Stops the replay, which drops what it held, and starts it again.");
  key("screenshot", At<&C::hotkeys, &H::screenshot>, "Takes a screenshot of the game.");
  key("marker", At<&C::hotkeys, &H::marker>,
      "Marks this moment on the timeline of what is saved next.");
  key("custom_buffer", At<&C::hotkeys, &H::custom_buffer>,
      "Asks for other settings and runs the replay with them until the game ends.");
  key("custom_recording", At<&C::hotkeys, &H::custom_recording>,
      "Asks for other settings and starts a recording with them.");
  key("toggle_audio", At<&C::hotkeys, &H::toggle_audio>, "Turns the computer's sound on and off.");
  key("toggle_microphone", At<&C::hotkeys, &H::toggle_microphone>,
      "Turns the microphone on and off.");
  key("toggle_microphone_mono", At<&C::hotkeys, &H::toggle_microphone_mono>,
      "Turns microphone_mono of [audio] on and off.");
  key("microphone_louder", At<&C::hotkeys, &H::microphone_louder>,
      "Records the microphone louder, by microphone_step.");
  key("microphone_quieter", At<&C::hotkeys, &H::microphone_quieter>,
      "Records the microphone more quietly, by microphone_step.");
  key("toggle_webcam", At<&C::hotkeys, &H::toggle_webcam>, "Turns the camera on and off.");
  add("microphone_step", Number(At<&C::hotkeys, &H::microphone_step>, Checked(1, 50)),
      "How much a press of microphone_louder or microphone_quieter changes, in percent, 1 to 50.");
  key("push_to_talk", At<&C::hotkeys, &H::push_to_talk>,
      "The key that lets the microphone be heard while it is held. Counts only while push_to_talk "
      "of [audio] is true. The game gets the key, too.");
  add("allow_duplicates", Bool(At<&C::hotkeys, &H::allow_duplicates>),
      "true lets two actions have the same combination, which then does both. false lets only one "
      "of them have it.");
  add("method", Words(At<&C::hotkeys, &H::method>, {"registerhotkey", "lowlevel", "both"}),
      "How ORVENTA hears your keys. lowlevel listens to the keyboard (the low-level hook), "
      "registerhotkey asks Windows for each combination (RegisterHotKey) and says so when another "
      "program has it, both does both.\n|The low-level hook is the default. It hears nothing while "
      "a window run as administrator is in front, so ORVENTA also registers the keys with "
      "RegisterHotKey while one is.");
}

Value ClipLength(Member<uint32_t> member) {
  Value value = Number(member);
  value.stage = CheckStage::ClipLength;
  value.correct = [=](Config& config, const Config&) {
    const uint32_t longest = config.replay.duration_seconds;
    if (Of(member, config) <= longest) return false;
    member(config) = longest;
    return true;
  };
  value.warning = "Clip length was shortened to the replay length.";
  return value;
}

void AppendService(Settings& rows) {
  const auto add = [&](std::string key, Value value, std::string comment) {
    rows.push_back({"service", std::move(key), std::move(value), Effect::None, std::move(comment)});
  };
  add("profile", Text(At<&C::service, &S::profile>),
      "The name of the profile that these settings belong to. ORVENTA writes this line; switch "
      "profiles in the app.");
  add("save_seconds", ClipLength(At<&C::service, &S::save_seconds>),
      "|How many seconds the save_clip hotkey writes, during a recording as well. 0 writes the "
      "whole replay, and anything longer than duration_seconds is cut down to it. The plain "
      "save_replay hotkey always writes the whole replay.");
  add("start_with_windows", Bool(At<&C::service, &S::start_with_windows>),
      "true starts ORVENTA when you sign in.");
  add("context_menu", Bool(At<&C::service, &S::context_menu>),
      "true adds Open in ORVENTA Player and Open in ORVENTA Editor to the right-click menu of .mp4 "
      "files, false takes both out again.");
  add("start_in_background", Bool(At<&C::service, &S::start_in_background>),
      "true starts without a window, with the icon by the clock only.");
  add("remember_pause", Bool(At<&C::service, &S::remember_pause>),
      "true leaves a stopped replay stopped at the next start. false always starts it.");
  add("paused", Bool(At<&C::service, &S::paused>),
      "Whether the replay was stopped when this was written. ORVENTA writes this line.");
  add("record_while_paused", Bool(At<&C::service, &S::record_while_paused>),
      "true lets recordings that start by themselves start while the replay is stopped.");
  add("background_noticed", Bool(At<&C::service, &S::background_noticed>),
      "Whether it has been said that ORVENTA runs on in the background. ORVENTA writes this line.");
}

}  // namespace

Settings ServiceSettings() {
  Settings rows;
  AppendHotkeys(rows);
  AppendService(rows);
  return rows;
}

}  // namespace orventa::schema
