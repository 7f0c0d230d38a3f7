// Which codecs the players of this Windows show: HEVC and AV1 come with extensions from
// the store, which not every machine has.
#pragma once

#include "encoders/machine_codecs.h"

namespace orventa {

struct MediaFoundation;

// Clears `plays` of codecs that no decoder here takes. Leaves all as they are where
// Media Foundation does not tell. Any thread.
void MarkWhatPlays(const MediaFoundation& mf, MachineCodecs& codecs);

}  // namespace orventa
