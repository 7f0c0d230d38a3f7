#include "service/settings_verbs.h"

#include <algorithm>
#include <array>
#include <vector>

#include "base/log.h"
#include "base/text.h"
#include "service/later.h"
#include "service/service_state.h"
#include "service/settings_changes.h"
#include "service/verbs.h"
#include "settings/schema.h"
#include "settings/text_file.h"

namespace orventa {
namespace {

Status Wrong(std::string message) {
  return {StatusCode::InvalidArgument, std::move(message)};
}

std::string TextOf(ServiceState& state, const std::string& path) {
  SettingsTextFile file;
  if (!ReadSettingsText(state.clock, path, file).ok() || !file.existed) return "OK";
  return "OK\n" + file.text;
}

// One SET_CONFIG at work.
struct Change {
  Config config;
  bool video = false;
  bool recording = false;
  std::array<bool, kOutputKindCount> storage = {};
  std::vector<std::string> lines;  // of the answer, each only once

  void Say(std::string line) {
    if (std::find(lines.begin(), lines.end(), line) == lines.end())
      lines.push_back(std::move(line));
  }
};

void NoteTouched(const std::string& name, Change& change) {
  if (name.starts_with("video.")) change.video = true;
  if (name.starts_with("recording.")) change.recording = true;
  constexpr std::array<std::string_view, kOutputKindCount> kStorage = {
      "storage.replay_", "storage.recording_", "storage.screenshot_"};
  for (size_t kind = 0; kind < kStorage.size(); ++kind) {
    if (name.starts_with(kStorage.at(kind))) change.storage.at(kind) = true;
  }
}

Status TakeLine(const ServiceState& state, std::string_view line, Change& change) {
  const size_t equals = line.find('=');
  if (equals == std::string_view::npos) {
    return Wrong("expected section.key=value, got: " + std::string(line));
  }
  const std::string name = ToLower(Trim(line.substr(0, equals)));
  const std::string_view value = line.substr(equals + 1);
  if (!IsKnownKey(name)) return Wrong("unknown setting: " + name);
  if (name == "service.profile") {
    return Wrong("the profile is changed by switching to it, not set");
  }
  NoteTouched(name, change);
  const std::string before = SettingText(change.config, name);
  ApplySetting(change.config, name, value);
  if (SettingText(change.config, name) == before) {
    const std::string problem = SettingProblem(name, value);
    if (!problem.empty()) change.Say("note=" + problem);
  }
  for (const auto& [held, held_value] : state.options.settings) {
    if (ToLower(Trim(held)) == name) {
      change.Say("note=" + name + " is given on the command line, which holds for this run");
    }
  }
  return Status::Ok();
}

Status TakeLines(const ServiceState& state, std::string_view body, Change& change) {
  for (const std::string_view raw : Split(body, '\n')) {
    const std::string_view line = Trim(raw);
    if (line.empty() || line.front() == '#' || line.front() == ';') continue;
    if (Status status = TakeLine(state, line, change); !status.ok()) return status;
  }
  return Status::Ok();
}

void SayWarnings(ServiceState& state, const std::vector<std::string>& warnings, Change& change) {
  for (const std::string& warning : warnings) change.Say("warning=" + warning);
  for (uint32_t kind = 0; kind < kOutputKindCount; ++kind) {
    if (!change.storage.at(kind)) continue;
    const std::string warning =
        WarnCleanupFolder(state, change.config, static_cast<OutputKind>(kind));
    if (!warning.empty()) change.Say("warning=" + warning);
  }
}

}  // namespace

std::string GetConfig(ServiceState& state, const ChannelRequest&) {
  return TextOf(state, state.config_path);
}

std::string GetGameList(ServiceState& state, const ChannelRequest&) {
  return TextOf(state, state.game_list_path);
}

std::string SetConfig(ServiceState& state, const ChannelRequest& request) {
  const uint64_t stamp_before = StampOf(state.config_path);
  Change change;
  ConfigReadOutcome outcome;
  if (!ReadConfigForChange(state, change.config, outcome).ok()) {
    return ErrorAnswer(Wrong("cannot read the settings file"));
  }
  if (const Status status = TakeLines(state, request.body, change); !status.ok()) {
    return ErrorAnswer(status);
  }
  const std::vector<std::string> warnings = Validate(change.config);
  if (change.video) KeepInPreset(state, change.config.video);
  if (change.recording) KeepInPreset(state, change.config.recording);
  if (const Status status = WriteConfig(change.config, state.config_path); !status.ok()) {
    LogWarning("settings: %s", status.message().c_str());
    return ErrorAnswer(Wrong("cannot write the settings file"));
  }
  NoteProfileStorage(state, change.config);
  AnnounceOwnWrite(state);
  SayWarnings(state, warnings, change);
  std::string answer = Format("OK\nsettings_before=%llu\nsettings_written=%llu\n",
                              static_cast<unsigned long long>(stamp_before),
                              static_cast<unsigned long long>(StampOf(state.config_path)));
  for (const std::string& line : change.lines) answer += line + "\n";
  return answer;
}

std::string SetGameList(ServiceState& state, const ChannelRequest& request) {
  const Status status = SaveGameList(ParseGameList(request.body), state.game_list_path);
  if (!status.ok()) {
    LogWarning("settings: %s", status.message().c_str());
    return ErrorAnswer(Wrong("cannot write the game list"));
  }
  AnnounceOwnWrite(state);
  return "OK";
}

std::string Targets(ServiceState& state, const ChannelRequest&) {
  return "OK\n" + state.engine->ExplainTarget();
}

}  // namespace orventa
