// The two lists of game events inside Config, by event: the rows of the event table,
// and names that only a later version knows. For the folder's own sources only.
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "settings/config.h"
#include "settings/setting.h"

namespace orventa::schema {

inline constexpr std::string_view kMarksSection = "game_events";
inline constexpr std::string_view kActionsSection = "game_event_actions";

Taken TakeMark(Config& config, std::string_view id, std::string_view text);
Taken TakeAction(Config& config, std::string_view id, std::string_view text);
// What the list says, or what an event that is not listed does.
std::string MarkText(const Config& config, std::string_view id);
std::string ActionText(const Config& config, std::string_view id);

// What stands in a list and not in the event table, with its value's text.
using NamedTexts = std::vector<std::pair<std::string, std::string>>;
NamedTexts UnknownMarks(const Config& config);
NamedTexts UnknownActions(const Config& config);

}  // namespace orventa::schema
