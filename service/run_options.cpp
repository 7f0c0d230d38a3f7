#include "service/run_options.h"

#include <optional>
#include <string_view>

#include "base/text.h"
#include "service/settings_files.h"
#include "settings/schema.h"

namespace orventa {
namespace {

std::string JoinArguments(std::span<const std::string> arguments) {
  std::string line;
  for (const std::string& argument : arguments) {
    if (!line.empty()) line += ' ';
    line += argument;
  }
  return line;
}

uint64_t NumberAfter(std::string_view line, std::string_view word) {
  std::string_view rest = line.substr(line.find(word) + word.size());
  rest = rest.substr(std::min(rest.find_first_not_of(' '), rest.size()));
  return ParseUnsigned(rest.substr(0, rest.find_first_of(" \t\""))).value_or(0);
}

Status ReadSetting(const std::string& text, RunOptions& options) {
  const size_t equals = text.find('=');
  if (equals == std::string::npos) {
    return {StatusCode::InvalidArgument, "--set expects section.key=value, got: " + text};
  }
  std::string name = ToLower(Trim(text.substr(0, equals)));
  std::string value = text.substr(equals + 1);
  if (!IsKnownKey(name)) return {StatusCode::InvalidArgument, "unknown setting: " + name};
  if (!SettingProblem(name, value).empty()) {
    return {StatusCode::InvalidArgument, "--set: " + name + " cannot be \"" + value + "\""};
  }
  options.settings.emplace_back(std::move(name), std::move(value));
  return Status::Ok();
}

}  // namespace

Status ReadRunOptions(std::span<const std::string> arguments, RunOptions& options) {
  const std::string line = JoinArguments(arguments);
  const auto holds = [&](std::string_view word) { return line.find(word) != std::string::npos; };
  options.autostart = holds("--autostart");
  options.after_crash = holds("--after-crash");
  options.from_window = holds("--from-window");
  options.after_update = holds("--after-update");
  if (options.after_update) options.updated_process = NumberAfter(line, "--after-update");

  for (size_t i = 0; i < arguments.size(); ++i) {
    const std::string& name = arguments[i];
    if (name != "--window" && name != "--set") continue;
    if (++i == arguments.size()) {
      return {StatusCode::InvalidArgument, name + " needs a value"};
    }
    if (name == "--window") {
      options.window_title = arguments[i];
    } else if (Status status = ReadSetting(arguments[i], options); !status.ok()) {
      return status;
    }
  }
  return Status::Ok();
}

}  // namespace orventa
