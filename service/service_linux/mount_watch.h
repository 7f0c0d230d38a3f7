// Drives that are plugged in, as the kernel's table of mounts shows them.
// Main thread; must outlive the loop.
#pragma once

#include <memory>
#include <set>
#include <string>
#include <string_view>

#include "base/base_linux/message_loop.h"
#include "base/base_linux/posix.h"

namespace orventa {

// The numbers of the mounts behind which there is a drive, here or on the network, in
// the text of /proc/self/mountinfo. What programs mount for themselves is none.
std::set<std::string, std::less<>> MountedDrives(std::string_view table);

class MountWatch {
 public:
  // VolumeArrived for every change of the table that brings a drive. Without a table
  // nothing is heard.
  explicit MountWatch(ILinuxMessageLoop& loop);

 private:
  void Look();

  ILinuxMessageLoop& loop_;
  FileDescriptor table_;
  std::set<std::string, std::less<>> drives_;
};

}  // namespace orventa
