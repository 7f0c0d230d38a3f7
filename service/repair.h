// The repair of recordings whose end never came, and the removal of saves that were
// cut off. Nobody waits for it: passes over the folders run on a thread of their own,
// and tell the main thread what they did. Main thread, except where a line says
// otherwise.
#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "base/message_loop.h"
#include "service/channel/channel.h"

namespace orventa {

struct ServiceState;

// What passes know. The first part belongs to the main thread, the last to the
// thread of the repair work.
struct RepairState {
  std::vector<std::string> waiting;  // not repaired yet: somebody writes or holds them
  bool pass_runs = false;
  bool pass_wanted = false;    // once the one that runs is over
  uint64_t pass_began_ns = 0;  // steady clock

  std::atomic<bool> stop = false;  // at exit: no further file is begun

  std::set<std::string> settled;            // files with nothing to repair in them
  std::map<std::string, std::string> told;  // the last failure of a file, told once
};

// What a pass did, carried to the main thread.
struct RepairFindings : MessageRecord {
  std::vector<std::string> repaired;
  std::vector<std::string> waiting;
};

// At start: a pass, and after it whatever unfinished saves lie in the folders go.
void RepairRecordings(ServiceState& state);
// A drive has come. A pass that runs is followed by another.
void StartRepairPass(ServiceState& state);
// Every minute, while files wait for it.
void RepairAgainWhenDue(ServiceState& state);
void OnRepairEnded(ServiceState& state, const RepairFindings& findings);

// A control verb: repairs the file whose path is the body.
std::string RepairRecording(ServiceState& state, const ChannelRequest& request);

}  // namespace orventa
