// What games tell of themselves: the readers, and a line for every event.
#include "games/event_table/event_table.h"
#include "settings/event_lists.h"
#include "settings/setting.h"

namespace orventa::schema {
namespace {

using C = Config;
using G = Config::GameEvents;

struct GameWords {
  std::string_view prefix;  // of event ids
  std::string_view name;
};
constexpr GameWords kGames[] = {{"cs2.", "Counter-Strike 2"},
                                {"lol.", "League of Legends"},
                                {"rl.", "Rocket League"},
                                {"dota.", "Dota 2"}};

std::string_view GameOf(std::string_view id) {
  for (const GameWords& game : kGames) {
    if (id.starts_with(game.prefix)) return game.name;
  }
  return {};
}

Value Mark(std::string_view id) {
  Value value;
  value.read = [id](Config& config, std::string_view text) { return TakeMark(config, id, text); };
  value.write = [id](const Config& config) { return MarkText(config, id); };
  return value;
}

Value Action(std::string_view id) {
  Value value;
  value.read = [id](Config& config, std::string_view text) { return TakeAction(config, id, text); };
  value.write = [id](const Config& config) { return ActionText(config, id); };
  return value;
}

void AppendReaders(Settings& rows) {
  const auto add = [&](std::string key, Value value, std::string comment) {
    rows.push_back(
        {"game_events", std::move(key), std::move(value), Effect::None, std::move(comment)});
  };
  add("enabled", Bool(At<&C::game_events, &G::enabled>),
      "true listens to what Counter-Strike 2 reports of a match and marks it on the timeline. The "
      "game sends this to your own computer only; nothing leaves it.");
  add("port", Number(At<&C::game_events, &G::port>, Ignoring(1, 65535)),
      "The port on this computer that games report to, 1 to 65535. Change it only if another "
      "program has it.");
  add("report_ms", Number(At<&C::game_events, &G::report_ms>, Ignoring(20, 5000)),
      "How often a game may report, in milliseconds, 20 to 5000. It decides how late a mark "
      "lands:\nat 500 a kill is marked visibly after it happened, and at 100 it is not.");
  add("league_enabled", Bool(At<&C::game_events, &G::league_enabled>),
      "true asks League of Legends, while it runs, what happens, and marks it on the timeline.");
  add("league_poll_ms", Number(At<&C::game_events, &G::league_poll_ms>, Ignoring(100, 5000)),
      "How often League of Legends is asked, in milliseconds, 100 to 5000.");
  add("dota_enabled", Bool(At<&C::game_events, &G::dota_enabled>),
      "true listens to Dota 2 and marks what happens on the timeline. For this, "
      "-gamestateintegration must stand in the game's launch options in Steam.");
  add("rocket_league_enabled", Bool(At<&C::game_events, &G::rocket_league_enabled>),
      "true has Rocket League tell what happens in a match, from its next start on, and marks it "
      "on the timeline. Other computers in your network can then listen to the game, too, so it is "
      "off unless you want it.");
  add("rocket_league_port", Number(At<&C::game_events, &G::rocket_league_port>, Ignoring(1, 65535)),
      "The port on this computer where Rocket League tells it, 1 to 65535. Change it only if "
      "another program has it.");
  add("rocket_league_rate", Number(At<&C::game_events, &G::rocket_league_rate>, Ignoring(1, 120)),
      "How many times a second Rocket League tells it, 1 to 120. 10 is quick enough for marks.");
}

void AppendMarks(Settings& rows) {
  std::string heading =
      "Which events mark the timeline, true or false, a line each. A mark costs nothing.\n";
  for (const GameEventRow& event : GameEventTable()) {
    std::string comment =
        heading + std::string(GameOf(event.id)) + ": " + std::string(event.label) + ".";
    if (!event.note.empty()) comment += " " + std::string(event.note);
    rows.push_back({"game_events", std::string(event.id), Mark(event.id), Effect::None, comment});
    heading.clear();
  }
}

void AppendActions(Settings& rows) {
  std::string heading =
      "What an event does besides marking the timeline: none, save_clip, save_replay, screenshot, "
      "start_recording or stop_recording. This works for events that do not mark as well.\n|This "
      "is how a recording can cover a match rather than a session: start_recording on match_start, "
      "stop_recording on match_end.\n";
  for (const GameEventRow& event : GameEventTable()) {
    rows.push_back(
        {"game_event_actions", std::string(event.id), Action(event.id), Effect::None,
         heading + std::string(GameOf(event.id)) + ": " + std::string(event.label) + "."});
    heading.clear();
  }
}

}  // namespace

Settings GameSettings() {
  Settings rows;
  AppendReaders(rows);
  AppendMarks(rows);
  AppendActions(rows);
  return rows;
}

}  // namespace orventa::schema
