// MP4 files of this system. `movie.h` says what goes into a clip; this header has
// the entrance that writes a finished one. All integers in boxes are big-endian.
#pragma once

#include <string_view>

#include "base/status.h"
#include "mp4/movie.h"

namespace orventa {

// Writes a finished clip, `moov` before the media data. On failure no file is
// left. Reads payloads that are on disk; memory for them stays within
// `movie.read_budget` plus one packet. Any thread; may take seconds.
Status WriteMp4(std::string_view path, const Mp4Movie& movie);

}  // namespace orventa
