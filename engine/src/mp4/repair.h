// Finishes recordings whose end never came: the machine died, the drive filled up
// or the writer was killed. Any thread; takes as long as the drive needs to look at
// the head of every fragment.
#pragma once

#include <string_view>

#include "base/status.h"

namespace orventa {

// Turns the file into an ordinary MP4 of all that is whole in it. Samples are
// neither moved nor rewritten: what is torn at the end is cut off, an index is
// appended, and one write of 16 bytes finishes the file. If that is cut off itself,
// it can be run again. Refuses with "still being written" while somebody writes the
// file; after any other failure before the cut the file is as it was.
Status FinishInterrupted(std::string_view path);

}  // namespace orventa
