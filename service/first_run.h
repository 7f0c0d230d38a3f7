// Which codec to encode with on this machine: the choice of a first run, and the
// test of what was chosen, at every start. The last two are pure but for the log.
#pragma once

#include <string>

#include "encoders/machine_codecs.h"
#include "settings/config.h"

namespace orventa {

class IGraphics;

// What `backends` encode on the adapter of that name, or on the best one: a device is
// made for it and given back. Nothing, and a line in the log, where none can be made.
MachineCodecs AskForCodecs(IGraphics& graphics, const BackendList& backends,
                           const std::string& adapter);

// The newest codec that both records and plays here, for replay and recordings.
void ChooseFirstRunCodec(const MachineCodecs& codecs, Config& config);

// Corrects what the encoders of this machine cannot do; whether anything was.
// Where nothing encodes at all the wish stays as it is, for the day that it can
// be fulfilled.
bool TestCodecs(const MachineCodecs& codecs, Config& config);

}  // namespace orventa
