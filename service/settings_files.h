// config.ini and gamelist.ini as a run of the service takes them: what the command
// line says goes over them and is never written. Any thread.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/clock.h"
#include "base/mutex.h"
#include "base/status.h"
#include "games/targets/game_list.h"
#include "settings/config.h"
#include "settings/config_file.h"

namespace orventa {

struct RunOptions;
struct ServiceState;

// Held across every reading, changing and writing back of the two files, by any
// thread of the process; before config_lock. Unlike other locks it is held while
// files are read and written, and while another program lets go of them.
extern Mutex settings_lock;

using SettingList = std::vector<std::pair<std::string, std::string>>;  // ("section.key", value)

// The settings in force: the file's, with this run's own over them, in range.
Config SettingsOfRun(Config of_file, const RunOptions& options);
// The list in force: the file's, or the one window of the command line.
Status ReadGameListOfRun(ServiceState& state, GameList& list, bool* file_current);

// Why the value cannot be taken for that setting, for people; empty: it can.
std::string SettingProblem(std::string_view name, std::string_view value);

// Reads again every 500 ms until a read succeeds or the deadline has passed;
// gives the last answer.
Status ReadUntil(IClock& clock, uint64_t deadline_steady_ns, const std::function<Status()>& read);

// Whether the file is there and neither it nor its backup is of any use.
bool IsUnusable(const std::string& path, const ConfigReadOutcome& outcome);
// The file, for a change to be written into it. For one that is of no use the settings
// stand in that were in force without the command line's: a change must not lose them.
Status ReadConfigForChange(ServiceState& state, Config& config, ConfigReadOutcome& outcome)
    ORVENTA_REQUIRES(settings_lock);
// Says in the log what stood in for a damaged file.
void TellConfigDamage(const std::string& path, const ConfigReadOutcome& outcome);
void TellGameListDamage(IClock& clock, const std::string& path);

// 0: the file is not there.
uint64_t StampOf(const std::string& path);

}  // namespace orventa
