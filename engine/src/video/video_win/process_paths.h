// The program files of processes, remembered, so that a snapshot may ask for
// every window. Any thread.
#pragma once

#include <cstdint>
#include <string>
#include <unordered_map>

#include "base/mutex.h"

namespace orventa {

class ProcessPaths {
 public:
  // UTF-8 into `path`; empty when the process has higher rights or is gone.
  void Find(uint32_t pid, std::string& path);

 private:
  // An id is given to another process as soon as its owner has ended. The moment
  // of creation tells the two apart; a handle kept open would, too, but games'
  // guards take offence at one.
  struct Known {
    uint64_t created = 0;
    std::string path;
  };
  Mutex mutex_;
  std::unordered_map<uint32_t, Known> known_ ORVENTA_GUARDED_BY(mutex_);
};

}  // namespace orventa
