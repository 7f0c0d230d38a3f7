// Side files of saves that a crash or a power cut ended. Main thread, at start,
// before anything is saved.
#pragma once

#include "base/files.h"
#include "settings/config.h"

namespace orventa {

// Deletes them from the output folders of all kinds and the games' folders in
// there. Side files of other programs stay.
void RemoveUnfinishedSaves(const Config& config, const KnownFolders& folders);

}  // namespace orventa
