// AAC by libavcodec's own encoder, the one of Linux. It holds back one packet; Flush
// gives the rest. Used as aac.h tells.
#pragma once

#include <memory>

#include "sound/aac.h"

namespace orventa {

Status MakeLavcAacEncoder(const AacSettings& settings, std::unique_ptr<IAacEncoder>& out);

}  // namespace orventa
