// What engines and stores leave beside a game's program. A look at a folder, so the
// answers are remembered. Any thread.
#pragma once

#include <cstddef>
#include <string>
#include <unordered_map>

#include "base/mutex.h"
#include "games/targets/known_games.h"

namespace orventa {

// Reads the program's folder. Names in it are compared without regard to case, since
// programs of Windows run where the file system minds it.
bool HasGameMarks(const ProgramPath& program);

class EngineMarks final : public IKnownGameSource {
 public:
  // A desktop never shows so many programs; paths made up anew by each start might.
  static constexpr size_t kMaxRemembered = 4096;

  bool Knows(const ProgramPath& program) override;

 private:
  Mutex mutex_;
  std::unordered_map<std::string, bool> answers_ ORVENTA_GUARDED_BY(mutex_);
};

}  // namespace orventa
