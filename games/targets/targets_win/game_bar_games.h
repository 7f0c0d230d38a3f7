// The programs that Windows itself has found to be games: Game Bar's list in the
// registry. Any thread.
#pragma once

#include <windows.h>

#include <cstdint>
#include <memory>
#include <string>
#include <type_traits>
#include <unordered_set>

#include "base/base_win/win32.h"
#include "base/clock.h"
#include "base/mutex.h"
#include "games/targets/known_games.h"

namespace orventa {

class GameBarGames final : public IKnownGameSource {
 public:
  // `key_path` lies under HKEY_CURRENT_USER. The clock must outlive this.
  GameBarGames(IClock& clock, std::wstring key_path);

  bool Knows(const ProgramPath& program) override;

 private:
  struct CloseKey {
    void operator()(HKEY key) const { RegCloseKey(key); }
  };
  using Key = std::unique_ptr<std::remove_pointer_t<HKEY>, CloseKey>;

  void Update() ORVENTA_REQUIRES(mutex_);
  void Open() ORVENTA_REQUIRES(mutex_);
  bool Watch() ORVENTA_REQUIRES(mutex_);
  void ReadAll() ORVENTA_REQUIRES(mutex_);

  IClock& clock_;
  const std::wstring key_path_;
  const WinHandle changed_;  // manual reset
  Mutex mutex_;
  Key key_ ORVENTA_GUARDED_BY(mutex_);  // null while there is no list
  uint64_t next_open_ns_ ORVENTA_GUARDED_BY(mutex_) = 0;
  std::unordered_set<std::string> paths_ ORVENTA_GUARDED_BY(mutex_);  // by ToLowerUnicode
};

}  // namespace orventa
