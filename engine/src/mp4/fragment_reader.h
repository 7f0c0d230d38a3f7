// Reads what was written in fragments: `moof` boxes, whose samples go after those of
// the `moov`. Used by the reader. One thread at a time.
#pragma once

#include "base/status.h"
#include "mp4/byte_source.h"
#include "mp4/moov_reader.h"

namespace orventa {

// Adds the samples of all whole fragments to the tracks in `moov`. Takes one whose
// data does not lie whole within the file for one that a power cut tore, and leaves
// it out, as it does those of tracks that `moov` does not have.
Status ReadFragments(IByteSource& file, SampleBudget& budget, ReadMoovResult& moov);

}  // namespace orventa
