// What the service writes into the library, and when: lines of files that are done,
// files that are gone, files that the window has moved.
#pragma once

#include <string>

#include "library/written_list.h"
#include "service/channel/channel.h"

namespace orventa {

struct ServiceState;

// Main thread, at start. The second leaves the looking to a thread.
void LoadLibrary(ServiceState& state);
void ForgetVanishedFiles(ServiceState& state);

// Any thread but the main one: they wait for the drive. A failure is logged.
void RecordInLibrary(ServiceState& state, const std::string& path, WrittenKind kind);
void RecordFoundInLibrary(ServiceState& state, const std::string& path, WrittenKind kind);

// A control verb: pairs of "from=" and "to=" lines.
std::string FilesMoved(ServiceState& state, const ChannelRequest& request);

}  // namespace orventa
