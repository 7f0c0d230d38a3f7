#include <algorithm>
#include <string>
#include <unordered_map>

#include "base/text.h"
#include "settings/config_file.h"
#include "settings/config_lines.h"
#include "settings/old_keys.h"
#include "settings/schema.h"
#include "settings/schema_table.h"
#include "settings/text_file.h"

namespace orventa {
namespace {

using schema::ConfigLine;
using schema::LineKind;
using schema::Taken;

constexpr const char* kSettingsFolderFile = "config.ini";

// Settings that nobody knows, found again by name: a later line takes the place of
// an earlier one.
class ForeignRows {
 public:
  explicit ForeignRows(std::vector<Config::Foreign>& rows) : rows_(rows) {}

  void Put(const ConfigLine& line) {
    // A section may hold dots, a key too: the name alone does not tell them apart.
    const std::string place = std::string(line.section) + "\n" + std::string(line.key);
    const auto [row, added] = index_.try_emplace(place, rows_.size());
    if (added) {
      rows_.push_back({std::string(line.section), std::string(line.key), std::string(line.value)});
    } else {
      rows_[row->second].value = line.value;
    }
  }

 private:
  std::vector<Config::Foreign>& rows_;
  std::unordered_map<std::string, size_t> index_;
};

// Recordings that were set up before they could share the replay's settings keep
// their own, unless there was no difference.
bool SameVideo(const Config& config) {
  Config::Video recording = config.recording;
  recording.preset_name = config.video.preset_name;
  return recording == config.video;
}

// The window's rows of a camera that has been on stay.
void NoteWebcam(Config& config) {
  if (config.webcam.enabled) config.window.webcam_rows_kept = true;
}

// Which rows of the table had a line.
class SeenSettings {
 public:
  void Note(const schema::Setting& setting) { seen_[Index(setting)] = true; }
  bool Has(std::string_view name) const { return seen_[Index(*schema::FindSetting(name))]; }
  bool HasAll() const { return std::find(seen_.begin(), seen_.end(), false) == seen_.end(); }

 private:
  static size_t Index(const schema::Setting& setting) {
    return static_cast<size_t>(&setting - schema::AllSettings().data());
  }
  std::vector<bool> seen_ = std::vector<bool>(schema::AllSettings().size());
};

void ReadLines(std::string_view text, Config& config, ConfigReadOutcome& outcome) {
  SeenSettings seen;
  ForeignRows foreign(config.foreign);
  schema::ConfigLines lines(text);
  for (ConfigLine line; lines.Next(line);) {
    if (line.kind != LineKind::Setting || line.section.empty()) continue;
    if (const schema::Setting* setting = schema::FindSetting(line.name)) {
      seen.Note(*setting);
      setting->value.read(config, line.value);
      continue;
    }
    if (!schema::IsKnown(line.section, line.name)) {
      outcome.unknown.emplace_back(line.name);
      if (schema::FindOldKey(line.name) == nullptr) foreign.Put(line);
    }
    schema::TakeUnlisted(config, line.section, line.key, line.name, line.value);
  }

  if (seen.Has("recording.codec") && !seen.Has("recording.use_video_settings")) {
    config.recording_use_video_settings = SameVideo(config);
  }
  NoteWebcam(config);
  outcome.rewrite = !seen.HasAll();
}

bool IsDamaged(std::string_view text) {
  return text.find('\0') != std::string_view::npos;
}

// As an excerpt for people, whatever bytes it holds.
std::string Shown(std::string_view text) {
  constexpr size_t kLongest = 60;
  std::string shown = Utf16ToUtf8(Utf8ToUtf16(text));
  const std::string_view cut = CutUtf8(shown, kLongest);
  const bool whole = cut.size() == shown.size();
  shown.resize(cut.size());
  std::replace_if(
      shown.begin(), shown.end(), [](char c) { return static_cast<unsigned char>(c) < 0x20; }, '?');
  return "\"" + shown + (whole ? "\"" : "...\"");
}

// What one line is found to be; empty: nothing to say.
std::string Judge(const ConfigLine& line, Config& config) {
  if (line.kind == LineKind::NoEquals) return "ignored, no \"=\" in it: " + Shown(line.key);
  if (line.kind != LineKind::Setting) return {};
  if (line.section.empty()) return "ignored, it stands before any section: " + Shown(line.key);

  const std::string name(line.name);
  const schema::OldKey* old = schema::FindOldKey(name);
  if (!schema::IsKnown(line.section, name) && old == nullptr) {
    return "not known, kept as it is: " + Shown(name);
  }
  const Taken taken = schema::TakeLine(config, line.section, line.key, line.value);
  if (taken == Taken::Ignored) {
    return "ignored, " + name + " cannot be " + Shown(line.value);
  }
  if (old != nullptr && old->now.empty()) return "no longer used: " + name;
  if (old != nullptr) return "an old name, " + name + " is now " + std::string(old->now);
  if (taken == Taken::AsIs) return {};
  return "corrected, " + name + " cannot be " + Shown(line.value) + " and becomes " +
         Shown(SettingText(config, name));
}

}  // namespace

std::string ConfigPath(const KnownFolders& folders) {
  const std::string& folder = folders.config.empty() ? folders.program : folders.config;
  return JoinPath(folder, kSettingsFolderFile);
}

void ReadConfigText(std::string_view text, Config& config, ConfigReadOutcome& outcome) {
  config = Config();
  outcome = {};
  outcome.existed = !IsDamaged(text);
  ReadLines(outcome.existed ? text : std::string_view(), config, outcome);
}

Status ReadConfig(IClock& clock, const std::string& path, Config& config,
                  ConfigReadOutcome& outcome) {
  SettingsTextFile file;
  if (Status status = ReadSettingsText(clock, path, file); !status.ok()) return status;
  ReadConfigText(file.text, config, outcome);
  outcome.existed = file.existed;
  outcome.from_backup = file.from_backup;
  outcome.rewrite = outcome.rewrite || file.from_backup;
  return Status::Ok();
}

std::vector<ConfigFinding> CheckConfigText(std::string_view text) {
  if (IsDamaged(text)) return {{0, "damaged, there is a zero byte in it"}};
  std::vector<ConfigFinding> findings;
  Config config;
  std::unordered_map<std::string, uint32_t> last_line;
  schema::ConfigLines lines(text);
  for (ConfigLine line; lines.Next(line);) {
    if (std::string said = Judge(line, config); !said.empty()) {
      findings.push_back({line.number, std::move(said)});
    }
    if (line.kind == LineKind::Setting) last_line[std::string(line.name)] = line.number;
  }

  NoteWebcam(config);
  const Config read = config;
  (void)Validate(config);
  for (const std::string& name : ChangedSettings(read, config)) {
    const auto line = last_line.find(name);
    if (line == last_line.end()) continue;  // it follows from another line
    findings.push_back({line->second, "corrected, " + name + " cannot be " +
                                          Shown(SettingText(read, name)) + " and becomes " +
                                          Shown(SettingText(config, name))});
  }
  std::ranges::stable_sort(findings, {}, &ConfigFinding::line);
  return findings;
}

}  // namespace orventa
