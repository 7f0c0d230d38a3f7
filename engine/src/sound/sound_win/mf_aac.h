// AAC by the encoder that Windows brings, a synchronous transform of Media Foundation.
// Its library is looked up when the first encoder is made, so that a Windows without
// media parts still starts the program and gets an answer. Used as aac.h tells.
//
// Priming: the transform gives every packet a time of its own, which is handed on as
// it is. To be right by the word of aac.h, that has to be the time of the sound that
// the packet yields, with the transform's own delay counted; packets that it places
// before time 0 are priming, and dropped. Wine has no such transform, so what the one
// of Windows says of its delay has not been measured; if it turns out to tell the time
// of what went in instead, Keep in mf_aac.cpp is the one place to take it off.
#pragma once

#include <memory>

#include "sound/aac.h"

namespace orventa {

Status MakeMfAacEncoder(const AacSettings& settings, std::unique_ptr<IAacEncoder>& out);

}  // namespace orventa
