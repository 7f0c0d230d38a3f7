#include "service/command_words.h"

#include <algorithm>
#include <vector>

#include "base/files.h"
#include "service/platform.h"
#include "settings/config_file.h"
#include "settings/text_file.h"

namespace orventa {
namespace {

// Far beyond any settings file, and nothing that would fill the memory.
constexpr uint64_t kMaxBytes = 64U << 20U;

constexpr char kUsage[] =
    "usage: orventa [OPTION...]      keeps the replay until it is told to exit\n"
    "       orventa --check-config [FILE]\n"
    "  --set SECTION.KEY=VALUE   a setting for this run that goes over the file's\n"
    "  --window TITLE            capture the window with TITLE in its title, whatever the\n"
    "                            game list says\n"
    "  --autostart               started at sign-in: stay silent, wait longer for the settings\n"
    "  --check-config [FILE]     say what would be corrected or ignored in the settings file,\n"
    "                            line by line, and change nothing\n"
    "  --help                    this text\n"
    "A running service is spoken to with orventactl.\n";

int CheckConfig(Platform& platform, const std::string& path) {
  std::string text;
  if (const FileResult read = ReadWholeFile(path, kMaxBytes, text); !read.ok()) {
    platform.process.Print("cannot read " + path + ": " + read.Text() + "\n");
    return 2;
  }
  DecodeSettingsText(text);
  const std::string name(FileName(path));
  const std::vector<ConfigFinding> findings = CheckConfigText(text);
  std::string report;
  for (const ConfigFinding& finding : findings) {
    report += name + ":";
    if (finding.line != 0) report += std::to_string(finding.line) + ":";
    report += " " + finding.text + "\n";
  }
  if (findings.empty()) report = name + ": nothing to correct\n";
  platform.process.Print(report);
  return findings.empty() ? 0 : 1;
}

}  // namespace

std::optional<int> AnswerCommandWord(Platform& platform, std::span<const std::string> arguments) {
  if (std::find(arguments.begin(), arguments.end(), "--help") != arguments.end()) {
    platform.process.Print(kUsage);
    return 0;
  }
  const auto word = std::find(arguments.begin(), arguments.end(), "--check-config");
  if (word == arguments.end()) return std::nullopt;
  const auto file = word + 1;
  const bool named = file != arguments.end() && !file->starts_with("--");
  return CheckConfig(platform, named ? *file : ConfigPath(platform.folders));
}

}  // namespace orventa
