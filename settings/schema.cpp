#include "settings/schema.h"

#include <algorithm>
#include <iterator>
#include <unordered_map>

#include "base/text.h"
#include "settings/event_lists.h"
#include "settings/old_keys.h"
#include "settings/schema_table.h"

namespace orventa {
namespace schema {
namespace {

Settings BuildSettings() {
  Settings all;
  for (Settings (*section)() : {OutputSettings, VideoSettings, SourceSettings, GameSettings,
                                LayerSettings, ServiceSettings, WindowSettings, NoticeSettings}) {
    std::ranges::move(section(), std::back_inserter(all));
  }
  return all;
}

// Looked up by views, without making a string of each.
struct NameHash {
  using is_transparent = void;
  size_t operator()(std::string_view name) const { return std::hash<std::string_view>()(name); }
};
using Index = std::unordered_map<std::string, const Setting*, NameHash, std::equal_to<>>;

Index BuildIndex() {
  Index index;
  for (const Setting& setting : AllSettings()) index.emplace(setting.Name(), &setting);
  return index;
}

bool IsEventSection(std::string_view section) {
  return section == kMarksSection || section == kActionsSection;
}

}  // namespace

const Settings& AllSettings() {
  static const Settings all = BuildSettings();
  return all;
}

const Setting* FindSetting(std::string_view name) {
  static const Index index = BuildIndex();
  const auto row = index.find(name);
  return row == index.end() ? nullptr : row->second;
}

const Config& Defaults() {
  static const Config defaults;
  return defaults;
}

bool IsKnown(std::string_view section, std::string_view name) {
  return IsEventSection(section) || FindSetting(name) != nullptr;
}

Taken TakeLine(Config& config, std::string_view section, std::string_view key,
               std::string_view value) {
  const std::string name = std::string(section) + "." + std::string(key);
  if (const Setting* setting = FindSetting(name)) return setting->value.read(config, value);
  return TakeUnlisted(config, section, key, name, value);
}

Taken TakeUnlisted(Config& config, std::string_view section, std::string_view key,
                   std::string_view name, std::string_view value) {
  if (section == kMarksSection) return TakeMark(config, key, value);
  if (section == kActionsSection) return TakeAction(config, key, value);
  const OldKey* old = FindOldKey(name);
  return old == nullptr ? Taken::Ignored : old->read(config, value);
}

namespace {

struct NameParts {
  std::string_view section;
  std::string_view key;
};

NameParts SplitName(std::string_view name) {
  const size_t dot = name.find('.');
  if (dot == std::string_view::npos) return {{}, name};
  return {Trim(name.substr(0, dot)), Trim(name.substr(dot + 1))};
}

// Whether the captions need the microphone on a track of its own.
bool CaptionsHearVoiceAlone(const Config& config) {
  return config.captions.enabled && config.captions.from == CaptionsSource::Voice;
}

void AppendChangedEvents(std::string_view section, const NamedTexts& before,
                         const NamedTexts& after, std::vector<std::string>& changed) {
  const auto differs = [](const NamedTexts& others, const auto& row) {
    return std::find(others.begin(), others.end(), row) == others.end();
  };
  const auto add = [&](const std::string& id) {
    std::string name = std::string(section) + "." + id;
    if (std::find(changed.begin(), changed.end(), name) == changed.end()) {
      changed.push_back(std::move(name));
    }
  };
  for (const auto& row : before) {
    if (differs(after, row)) add(row.first);
  }
  for (const auto& row : after) {
    if (differs(before, row)) add(row.first);
  }
}

}  // namespace
}  // namespace schema

using schema::AllSettings;
using schema::Effect;
using schema::Setting;

bool IsKnownKey(std::string_view name) {
  const std::string lower = ToLower(Trim(name));
  return lower.find('.') != std::string::npos &&
         schema::IsKnown(schema::SplitName(lower).section, lower);
}

std::vector<std::string> KnownKeys() {
  std::vector<std::string> names;
  for (const Setting& setting : AllSettings()) names.push_back(setting.Name());
  return names;
}

void ApplySetting(Config& config, std::string_view section, std::string_view key,
                  std::string_view value) {
  schema::TakeLine(config, ToLower(Trim(section)), ToLower(Trim(key)), Trim(value));
}

bool ApplySetting(Config& config, std::string_view name, std::string_view value) {
  const std::string lower = ToLower(Trim(name));
  const schema::NameParts parts = schema::SplitName(lower);
  ApplySetting(config, parts.section, parts.key, value);
  return IsKnownKey(lower) || schema::FindOldKey(lower) != nullptr;
}

std::string SettingText(const Config& config, std::string_view name) {
  const std::string lower = ToLower(Trim(name));
  if (const Setting* setting = schema::FindSetting(lower)) return setting->value.write(config);
  const schema::NameParts parts = schema::SplitName(lower);
  if (parts.section == schema::kMarksSection) return schema::MarkText(config, parts.key);
  if (parts.section == schema::kActionsSection) return schema::ActionText(config, parts.key);
  return {};
}

std::vector<std::string> Validate(Config& config) {
  using schema::CheckStage;
  std::vector<std::string> warnings;
  for (const CheckStage stage :
       {CheckStage::Ranges, CheckStage::ClipLength, CheckStage::SoundRate, CheckStage::FileNames}) {
    for (const Setting& setting : AllSettings()) {
      if (setting.value.stage != stage) continue;
      if (setting.value.correct(config, schema::Defaults())) {
        warnings.emplace_back(setting.value.warning);
      }
    }
  }
  return warnings;
}

std::vector<std::string> ChangedSettings(const Config& before, const Config& after) {
  std::vector<std::string> changed;
  for (const Setting& setting : AllSettings()) {
    if (setting.value.write(before) != setting.value.write(after)) {
      changed.push_back(setting.Name());
    }
  }
  schema::AppendChangedEvents(schema::kMarksSection, schema::UnknownMarks(before),
                              schema::UnknownMarks(after), changed);
  schema::AppendChangedEvents(schema::kActionsSection, schema::UnknownActions(before),
                              schema::UnknownActions(after), changed);
  return changed;
}

SettingEffects EffectsOfChange(const Config& before, const Config& after) {
  SettingEffects effects;
  for (const Setting& setting : AllSettings()) {
    if (setting.effect == Effect::None ||
        setting.value.write(before) == setting.value.write(after)) {
      continue;
    }
    effects.restart |= setting.effect == Effect::Restart;
    effects.sound |= setting.effect == Effect::Sound;
    effects.webcam |= setting.effect == Effect::Webcam;
  }
  effects.restart |=
      schema::CaptionsHearVoiceAlone(before) != schema::CaptionsHearVoiceAlone(after);
  return effects;
}

}  // namespace orventa
