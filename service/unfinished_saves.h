// Side files of saves that a crash or a power cut ended. On the thread of the repair
// work, once after the start.
#pragma once

namespace orventa {

struct ServiceState;

// Deletes them from the output folders of all kinds and the games' folders in
// there. Side files of other programs stay. When a save has begun meanwhile nothing is
// deleted: the next start will do.
void RemoveUnfinishedSaves(ServiceState& state);

}  // namespace orventa
