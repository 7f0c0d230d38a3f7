// What failures are called towards callers of this folder, where more than one of
// its parts can meet them. Any thread.
#pragma once

#include <string>
#include <string_view>

#include "base/files.h"
#include "base/status.h"

namespace orventa {

Status DriveFullFailure();
// A write, a commit or a close that the system refused.
Status WriteFailure(const FileResult& result);
// A file that could not be opened for writing.
Status OpenFailure(std::string_view path);
// A file whose bytes the system does not give.
Status ReadFailure(std::string_view path);
// Packets whose dts is not their pts.
Status ReorderedFailure();
Status OutOfMemoryFailure();

}  // namespace orventa
