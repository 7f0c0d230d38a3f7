// Small helpers around Win32 calls. For the platform's own folders only.
#pragma once

#include <windows.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

namespace orventa {

std::wstring Wide(std::string_view utf8);
std::string Narrow(std::wstring_view utf16);
// The same into memory that is there already.
void NarrowInto(std::wstring_view utf16, std::string& out);

// A path as the system's calls take it: UTF-16, and past the length of the old
// limit absolute and marked as a long one.
std::wstring SystemPath(std::string_view path);

// What the system says about an error of Win32 or of COM, in English where it can, with
// no full stop; its number where it has no words for it.
std::string SystemErrorText(uint32_t code);

// Owns a handle. Neither null nor INVALID_HANDLE_VALUE counts as one.
class WinHandle {
 public:
  WinHandle() = default;
  explicit WinHandle(HANDLE handle) : handle_(handle) {}
  ~WinHandle() { Reset(); }
  WinHandle(WinHandle&& other) noexcept : handle_(std::exchange(other.handle_, nullptr)) {}
  WinHandle& operator=(WinHandle&& other) noexcept {
    if (this != &other) {
      Reset();
      handle_ = std::exchange(other.handle_, nullptr);
    }
    return *this;
  }

  HANDLE get() const { return handle_; }
  bool valid() const { return handle_ != nullptr && handle_ != INVALID_HANDLE_VALUE; }
  HANDLE Release() { return std::exchange(handle_, nullptr); }
  void Reset() {
    if (valid()) CloseHandle(handle_);
    handle_ = nullptr;
  }

 private:
  HANDLE handle_ = nullptr;
};

inline uint64_t Joined(const FILETIME& time) {
  return (uint64_t{time.dwHighDateTime} << 32) | time.dwLowDateTime;
}

// A function that a library exports; null when it does not.
template <class Function>
Function LibraryFunction(HMODULE library, const char* name) {
  return reinterpret_cast<Function>(
      reinterpret_cast<void*>(GetProcAddress(library, name)));  // void*: no type to hold against
}

// A function of one of the system's own libraries; null where this Windows has none.
// The library stays loaded.
void* SystemProcedure(const wchar_t* library, const char* name);
template <class Function>
Function SystemFunction(const wchar_t* library, const char* name) {
  return reinterpret_cast<Function>(SystemProcedure(library, name));
}

// For pauses in places that have no IClock at hand.
void PauseMs(uint32_t ms);

}  // namespace orventa
