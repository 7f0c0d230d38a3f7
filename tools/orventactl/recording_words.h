// The tool's words about recordings, which take more than one question.
#pragma once

#include <iosfwd>
#include <string>

namespace orventa {

// Starts a recording or ends the one that runs, and tells what came of it.
int RunRecord(std::ostream& out, std::ostream& errors);

// Repairs a recording that was cut off: the service does it if there is one, this
// process if not.
int RunRepair(const std::string& file, std::ostream& out, std::ostream& errors);

}  // namespace orventa
