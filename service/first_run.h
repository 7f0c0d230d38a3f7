// Which codec to encode with on this machine: the choice of a first run, and the
// test of what was chosen, at every start. Pure but for the log.
#pragma once

#include "encoders/machine_codecs.h"
#include "settings/config.h"

namespace orventa {

// The newest codec that both records and plays here, for replay and recordings.
void ChooseFirstRunCodec(const MachineCodecs& codecs, Config& config);

// Corrects what the encoders of this machine cannot do; whether anything was.
// Where nothing encodes at all the wish stays as it is, for the day that it can
// be fulfilled.
bool TestCodecs(const MachineCodecs& codecs, Config& config);

}  // namespace orventa
