#include "settings/event_lists.h"

#include <algorithm>

#include "base/text.h"
#include "games/event_table/event_table.h"

namespace orventa::schema {
namespace {

// Rows are looked for one after the other, at every line; far more events than any
// version will know, and few enough that a file made of nothing else is soon read.
constexpr size_t kMaxRows = 512;

const std::vector<std::string_view> kActions = {"none",       "save_clip",       "save_replay",
                                                "screenshot", "start_recording", "stop_recording"};

template <typename List>
auto Find(List& list, std::string_view id) {
  return std::find_if(list.begin(), list.end(), [&](const auto& row) { return row.first == id; });
}

// Whether the name comes back from a file as the same name.
bool CanStandInFile(std::string_view id) {
  const auto breaks_line = [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == '='; };
  return !id.empty() && Trim(id) == id && std::none_of(id.begin(), id.end(), breaks_line) &&
         std::string_view("#;[").find(id.front()) == std::string_view::npos;
}

// A list holds what differs from an event's own default, in the order in which it came:
// a value that is the default again leaves no row.
template <typename T>
Taken Put(std::vector<std::pair<std::string, T>>& list, std::string_view id, T value,
          const T& usual) {
  const auto row = Find(list, id);
  const bool to_list = FindGameEvent(id) == nullptr || value != usual;
  if (row != list.end()) {
    row->second = std::move(value);
    if (!to_list) list.erase(row);
    return Taken::AsIs;
  }
  if (!to_list) return Taken::AsIs;
  if (list.size() >= kMaxRows || !CanStandInFile(id)) return Taken::Ignored;
  list.emplace_back(id, std::move(value));
  return Taken::AsIs;
}

bool MarksByDefault(std::string_view id) {
  const GameEventRow* event = FindGameEvent(id);
  return event == nullptr || event->marks_by_default;
}

std::string BoolText(bool value) {
  return value ? "true" : "false";
}

}  // namespace

Taken TakeMark(Config& config, std::string_view id, std::string_view text) {
  const std::optional<bool> marks = ReadBool(text);
  return marks ? Put(config.game_event_marks, id, *marks, MarksByDefault(id)) : Taken::Ignored;
}

Taken TakeAction(Config& config, std::string_view id, std::string_view text) {
  const std::optional<uint32_t> action = FindWord(kActions, {}, text);
  if (!action) return Taken::Ignored;
  return Put(config.game_event_actions, id, std::string(kActions[*action]),
             std::string(kActions.front()));
}

std::string MarkText(const Config& config, std::string_view id) {
  const auto row = Find(config.game_event_marks, id);
  return BoolText(row != config.game_event_marks.end() ? row->second : MarksByDefault(id));
}

std::string ActionText(const Config& config, std::string_view id) {
  const auto row = Find(config.game_event_actions, id);
  return row == config.game_event_actions.end() ? std::string(kActions.front())
                                                : OneLine(row->second);
}

NamedTexts UnknownMarks(const Config& config) {
  NamedTexts texts;
  for (const auto& [id, marks] : config.game_event_marks) {
    if (FindGameEvent(id) == nullptr) texts.emplace_back(id, BoolText(marks));
  }
  return texts;
}

NamedTexts UnknownActions(const Config& config) {
  NamedTexts texts;
  for (const auto& [id, action] : config.game_event_actions) {
    if (FindGameEvent(id) == nullptr) texts.emplace_back(id, OneLine(action));
  }
  return texts;
}

}  // namespace orventa::schema
