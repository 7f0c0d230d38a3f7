// The folder for this user's locks and sockets. For the platform's own folders.
#pragma once

#include <string>

namespace orventa {

// $XDG_RUNTIME_DIR, or a folder of ours under the temp folder, made when absent.
// Belongs to this user, with no access for anybody else. Empty when there is no
// such folder and none could be made.
std::string RuntimeFolder();

}  // namespace orventa
