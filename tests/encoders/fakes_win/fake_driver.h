// What fakes of drivers' encoders have in common: which call is to fail, what is alive,
// who broke a rule first, and headers that look like ones. For those that are libraries,
// this lies in the DLL.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include "base/base_win/win32.h"

namespace orventa {

struct FakeDriver {
  // Knobs.
  bool has_av1 = true;
  const char* failing_call = "";  // "AMFInit", "nvEncMapInputResource", "ProcessInput", ...
  int32_t failure = 0;            // what it answers

  // Seen.
  int alive = 0;          // objects, or sessions
  char breach[256] = "";  // the first one

  bool Refuses(std::string_view call) const { return call == failing_call; }
  void Break(const std::string& rule) {
    if (breach[0] == '\0') std::snprintf(breach, sizeof(breach), "%s", rule.c_str());
  }
};

// Parameter sets that hold nothing; AV1's behind a temporal delimiter.
inline std::vector<uint8_t> FakeHeader(uint32_t codec) {
  if (codec == 0) return {0, 0, 0, 1, 0x67, 0x80, 0, 0, 0, 1, 0x68, 0x80};
  if (codec == 2) return {0x12, 0, 0x0A, 2, 0, 0x80};
  return {0, 0, 0, 1, 0x40, 1, 0x80, 0, 0, 0, 1, 0x42, 1, 0x80, 0, 0, 0, 1, 0x44, 1, 0x80};
}

// A fake library of that name, beside the test program, wherever that was started from.
inline std::wstring FakeLibraryPath(const wchar_t* name) {
  std::wstring program(MAX_PATH, L'\0');
  program.resize(GetModuleFileNameW(nullptr, program.data(), MAX_PATH));
  return program.substr(0, program.rfind(L'\\')) + L"\\fakes\\" + name;
}

// What a fake library shares with the test, by the export that gives it.
template <typename Function>
auto& SharedWithFake(const std::wstring& library, const char* name) {
  const auto get = LibraryFunction<Function>(LoadLibraryW(library.c_str()), name);
  return *get();
}

}  // namespace orventa
