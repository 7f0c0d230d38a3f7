// From a request to a saved file: one save thread at a time, one request waiting
// behind it. Main thread, except where a line says otherwise.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "base/status.h"
#include "video/replay_engine.h"

namespace orventa {

struct ServiceState;

// `seconds` 0: the whole replay. `is_clip` chooses the words.
void RequestSave(ServiceState& state, uint32_t seconds, bool is_clip);

// A save thread has said that it is done.
void OnSaveEnded(ServiceState& state, bool success);

// Whether anything is left to wait for, while no message is handled any more:
// starts the request that waits once its turn has come.
bool SaveInProgress(ServiceState& state);

// What a failed save looked like, for the choice of words.
struct FailedSave {
  Status status;
  bool paused = false;     // the replay was stopped when the save was asked for
  bool no_target = false;  // no game was open
  bool drive_short = false;
};
std::string_view FailedSaveText(const FailedSave& failed);  // any thread

// Raises or lowers the system's reason not to shut down yet. Other threads post
// ServiceMessage::ShutdownBlock.
void SetShutdownBlock(ServiceState& state, bool raised);

}  // namespace orventa
