// Sound on Linux, by PulseAudio's protocol: a PulseAudio or a PipeWire server gives it.
// Without one every capture is silent and waits for one to come.
#pragma once

#include <memory>

#include "base/clock.h"
#include "sound/sound_sources.h"

namespace orventa {

// The clock must outlive it and whatever it makes.
std::unique_ptr<ISoundSources> MakeLinuxSound(IClock& clock);

}  // namespace orventa
