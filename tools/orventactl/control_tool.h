// What `orventactl` does with its arguments: one request to the running service,
// its answer to the standard output.
#pragma once

#include <iosfwd>
#include <string>
#include <vector>

namespace orventa {

// The arguments in UTF-8, without the program's name. Returns the exit code: 0
// for OK, 1 for an ERR or a wrong call, 2 when no service answers.
int RunControlTool(const std::vector<std::string>& arguments, std::ostream& out,
                   std::ostream& errors);

}  // namespace orventa
