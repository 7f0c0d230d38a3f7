#include "games/event_table/event_table.h"

#include <algorithm>
#include <array>

namespace orventa {
namespace {

constexpr GameEventRow Row(std::string_view id, GameEventKind kind, std::string_view label,
                           std::string_view note = {}) {
  return {.id = id, .kind = kind, .label = label, .note = note};
}

using enum GameEventKind;

constexpr std::array kRows = {
    Row("cs2.kill", Kill, "Kill"),
    Row("cs2.death", Death, "Death"),
    Row("cs2.assist", Assist, "Assist"),
    Row("cs2.mvp", Special, "Round MVP"),
    Row("cs2.bomb_planted", Objective, "Bomb planted"),
    Row("cs2.bomb_defused", Objective, "Bomb defused"),
    Row("cs2.bomb_exploded", Objective, "Bomb exploded"),
    Row("cs2.match_start", Match, "Match start"),
    Row("cs2.match_end", Match, "Match end"),
    Row("cs2.round_start", Rhythm, "Round start",
        "Around thirty a match, which fills the timeline without saying much."),
    Row("cs2.round_end", Rhythm, "Round end", "One for every round start, and the same crowding."),
    Row("cs2.halftime", Match, "Halftime",
        "Once a match, and the round either side of it already says where it is."),
    Row("lol.kill", Kill, "Kill"),
    Row("lol.death", Death, "Death"),
    Row("lol.assist", Assist, "Assist"),
    Row("lol.ace", Special, "Ace"),
    Row("lol.dragon", Objective, "Dragon"),
    Row("lol.baron", Objective, "Baron Nashor"),
    Row("lol.herald", Objective, "Rift Herald"),
    Row("lol.voidgrubs", Objective, "Voidgrubs"),
    Row("lol.first_turret", Objective, "First turret"),
    Row("lol.turret", Objective, "Turret"),
    Row("lol.inhibitor", Objective, "Inhibitor"),
    Row("lol.match_start", Match, "Match start"),
    Row("lol.match_end", Match, "Match end"),
    Row("lol.minions_spawning", Rhythm, "Minions spawning",
        "Once a game, and the match start above already says where that is."),
    Row("lol.inhibitor_respawn", Objective, "Inhibitor respawn",
        "Two more marks for every inhibitor taken, neither of them a thing that happens anywhere "
        "somebody was looking."),
    Row("rl.goal", Kill, "Goal"),
    Row("rl.assist", Assist, "Assist"),
    Row("rl.save", Objective, "Save"),
    Row("rl.demo", Kill, "Demolition"),
    Row("rl.demolished", Death, "Demolished"),
    Row("rl.accolade", Special, "Accolade"),
    Row("rl.goal_for", Objective, "Goal for your team"),
    Row("rl.goal_against", Objective, "Goal against"),
    Row("rl.match_start", Match, "Match start"),
    Row("rl.match_end", Match, "Match end"),
    Row("rl.overtime", Match, "Overtime"),
    Row("rl.kickoff", Rhythm, "Kickoff",
        "One to start and one after every goal, which the goals above already say."),
    Row("rl.shot", Objective, "Shot on goal",
        "Several a match, and most of them a shot the keeper had covered."),
    Row("rl.crossbar", Special, "Crossbar",
        "Any touch of the bar counts, including a ball rolling along it."),
    Row("dota.kill", Kill, "Kill"),
    Row("dota.death", Death, "Death"),
    Row("dota.assist", Assist, "Assist"),
    Row("dota.roshan", Objective, "Roshan"),
    Row("dota.match_start", Match, "Match start"),
    Row("dota.match_end", Match, "Match end"),
};

}  // namespace

std::span<const GameEventRow> GameEventTable() {
  return kRows;
}

const GameEventRow* FindGameEvent(std::string_view id) {
  const auto row = std::find_if(kRows.begin(), kRows.end(),
                                [&](const GameEventRow& candidate) { return candidate.id == id; });
  return row == kRows.end() ? nullptr : &*row;
}

}  // namespace orventa
