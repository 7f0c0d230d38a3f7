// Sound on Windows: WASAPI for what goes in, Media Foundation for AAC. Without the
// system's sound service every capture is silent and waits for it to come.
#pragma once

#include <memory>

#include "base/clock.h"
#include "sound/sound_sources.h"

namespace orventa {

// The clock must outlive it and whatever it makes.
std::unique_ptr<ISoundSources> MakeWinSound(IClock& clock);

}  // namespace orventa
