#include <unordered_map>

#include "base/text.h"
#include "settings/config_file.h"
#include "settings/event_lists.h"
#include "settings/schema_table.h"
#include "settings/text_file.h"

namespace orventa {
namespace {

constexpr std::string_view kHeader =
    "# ORVENTA CONFIGURATION\n"
    "#\n"
    "# Edit by hand or through the app. Lines starting with # are comments.\n"
    "# Delete this file to restore defaults.\n"
    "# Invalid or missing values fall back to working defaults rather than refusing to start.\n";

constexpr std::string_view kForeignHeader =
    "# Settings written by a newer ORVENTA. This build does not know what\n"
    "# they mean, so it leaves them alone rather than dropping them.\n";

void AppendLine(std::string& text, std::string_view key, std::string_view value) {
  text += key;
  text += " = ";
  text += value;
  text += '\n';
}

void AppendComment(std::string& text, std::string_view comment) {
  constexpr size_t kWidth = 98;  // behind the "# "
  for (std::string_view rest : Split(comment, '\n')) {
    const bool wrap = !rest.starts_with(schema::kOnOneLine);
    if (!wrap) rest.remove_prefix(1);
    while (!rest.empty()) {
      const size_t blank = wrap && rest.size() > kWidth ? rest.rfind(' ', kWidth) : rest.npos;
      text += "# ";
      text += rest.substr(0, blank);
      text += '\n';
      rest.remove_prefix(blank == rest.npos ? rest.size() : blank + 1);
    }
  }
}

void AppendSection(std::string& text, std::string_view section) {
  text += "\n[";
  text += section;
  text += "]\n";
}

// Events that only a later version knows, behind those of the table.
void AppendUnknownEvents(std::string& text, const Config& config, std::string_view section) {
  schema::NamedTexts rows;
  if (section == schema::kMarksSection) rows = schema::UnknownMarks(config);
  if (section == schema::kActionsSection) rows = schema::UnknownActions(config);
  if (rows.empty()) return;
  text += '\n';
  AppendComment(text, "Events that a newer ORVENTA knows.");
  for (const auto& [id, value] : rows) AppendLine(text, schema::OneLine(id), value);
}

void AppendForeign(std::string& text, const std::vector<Config::Foreign>& rows) {
  std::vector<std::string> order;
  std::unordered_map<std::string, std::string> lines;
  for (const Config::Foreign& row : rows) {
    const std::string section = schema::OneLine(row.section);
    const auto [entry, added] = lines.try_emplace(section);
    if (added) order.push_back(section);
    AppendLine(entry->second, schema::OneLine(row.key), schema::OneLine(row.value));
  }
  if (order.empty()) return;
  text += '\n';
  text += kForeignHeader;
  for (const std::string& section : order) {
    text += "[" + section + "]\n" + lines[section];
  }
}

}  // namespace

std::string ConfigText(const Config& config) {
  std::string text;
  text.reserve(64 * 1024);
  text += kHeader;
  std::string_view section;
  for (const schema::Setting& setting : schema::AllSettings()) {
    const bool first = setting.section != section;
    if (first) {
      AppendUnknownEvents(text, config, section);
      section = setting.section;
      AppendSection(text, section);
    }
    if (!setting.comment.empty()) {
      if (!first) text += '\n';
      AppendComment(text, setting.comment);
    }
    AppendLine(text, setting.key, setting.value.write(config));
  }
  AppendForeign(text, config.foreign);
  return text;
}

Status WriteConfig(const Config& config, const std::string& path) {
  return WriteSettingsText(path, ConfigText(config), KeepBackup::Yes);
}

}  // namespace orventa
