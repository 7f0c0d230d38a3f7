#include "service/config_check.h"

#include <algorithm>
#include <vector>

#include "base/files.h"
#include "service/platform.h"
#include "settings/config_file.h"

namespace orventa {
namespace {

// Far beyond any settings file, and nothing that would fill the memory.
constexpr uint64_t kMaxBytes = 64U << 20U;

}  // namespace

std::optional<int> RunConfigCheck(Platform& platform, std::span<const std::string> arguments) {
  const auto word = std::find(arguments.begin(), arguments.end(), "--check-config");
  if (word == arguments.end()) return std::nullopt;
  const auto file = word + 1;
  const std::string path =
      file == arguments.end() || file->starts_with("--") ? ConfigPath(platform.folders) : *file;
  std::string text;
  if (const FileResult read = ReadWholeFile(path, kMaxBytes, text); !read.ok()) {
    platform.process.Print("cannot read " + path + ": " + read.Text() + "\n");
    return 2;
  }
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

}  // namespace orventa
