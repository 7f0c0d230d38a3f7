// Video encoding through libavcodec, the encoders of Linux: NVENC and VA-API
// where the machine has them, and software that runs everywhere. All of them take
// pictures in memory (`MemoryPicture`, NV12 or P010).
//   lavc_backend.cpp  what there is on this machine
//   lavc_options.cpp  our settings in each library's own words
//   lavc_encoder.cpp  one encoder at work
//   planes.cpp        separate chroma planes, for libraries that want them
#pragma once

#include "encoders/encoder.h"

namespace orventa {

// "NVENC", "VA-API", "Software", in this order. Also takes over libavcodec's log.
BackendList LavcBackends();

}  // namespace orventa
