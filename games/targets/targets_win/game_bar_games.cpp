#include "games/targets/targets_win/game_bar_games.h"

#include <iterator>
#include <utility>

#include "base/text.h"

namespace orventa {
namespace {

// On a fresh account the key comes with the first game.
constexpr uint64_t kOpenAgainNs = 3 * kNsPerSecond;

// Otherwise the watch ends, and looks like a change, when the thread that began it
// ends.
constexpr DWORD kWatched =
    REG_NOTIFY_CHANGE_NAME | REG_NOTIFY_CHANGE_LAST_SET | REG_NOTIFY_THREAD_AGNOSTIC;

// Empty when there is no such text.
std::wstring ReadText(HKEY key, const wchar_t* sub_key, const wchar_t* name) {
  std::wstring text(MAX_PATH, L'\0');
  for (;;) {
    auto bytes = static_cast<DWORD>(text.size() * sizeof(wchar_t));
    const LSTATUS result =
        RegGetValueW(key, sub_key, name, RRF_RT_REG_SZ, nullptr, text.data(), &bytes);
    if (result == ERROR_MORE_DATA) {
      text.resize(bytes / sizeof(wchar_t) + 1);
      continue;
    }
    if (result != ERROR_SUCCESS) return {};
    text.resize(bytes / sizeof(wchar_t));
    text.resize(text.find_last_not_of(L'\0') + 1);
    return text;
  }
}

}  // namespace

GameBarGames::GameBarGames(IClock& clock, std::wstring key_path)
    : clock_(clock),
      key_path_(std::move(key_path)),
      changed_(CreateEventW(nullptr, TRUE, FALSE, nullptr)) {}

bool GameBarGames::Knows(const ProgramPath& program) {
  const MutexLock lock(mutex_);
  Update();
  return paths_.contains(program.lower);
}

void GameBarGames::Update() {
  if (key_ == nullptr) {
    if (clock_.SteadyNs() < next_open_ns_) return;
    Open();
  } else if (WaitForSingleObject(changed_.get(), 0) != WAIT_OBJECT_0) {
    return;
  }
  paths_.clear();
  if (key_ == nullptr) return;
  // Watched anew before it is read, so that no change falls between the two.
  if (Watch()) return ReadAll();
  key_ = nullptr;  // somebody deleted it
  next_open_ns_ = clock_.SteadyNs() + kOpenAgainNs;
}

void GameBarGames::Open() {
  HKEY key = nullptr;
  if (RegOpenKeyExW(HKEY_CURRENT_USER, key_path_.c_str(), 0, KEY_READ, &key) == ERROR_SUCCESS) {
    key_.reset(key);
  } else {
    next_open_ns_ = clock_.SteadyNs() + kOpenAgainNs;
  }
}

bool GameBarGames::Watch() {
  ResetEvent(changed_.get());
  return RegNotifyChangeKeyValue(key_.get(), TRUE, kWatched, changed_.get(), TRUE) == ERROR_SUCCESS;
}

void GameBarGames::ReadAll() {
  wchar_t name[256];  // the longest name of a key, and its end
  for (DWORD i = 0;; ++i) {
    auto length = DWORD{std::size(name)};
    const LSTATUS result =
        RegEnumKeyExW(key_.get(), i, name, &length, nullptr, nullptr, nullptr, nullptr);
    if (result != ERROR_SUCCESS) return;  // the last one, or gone: a change that is told
    const std::wstring path = ReadText(key_.get(), name, L"MatchedExeFullPath");
    if (!path.empty()) paths_.insert(ToLowerUnicode(Narrow(path)));
  }
}

}  // namespace orventa
