#include "base/base_win/win32.h"

#include <algorithm>
#include <iterator>

#include "base/text.h"

namespace orventa {

std::wstring Wide(std::string_view utf8) {
  const std::u16string text = Utf8ToUtf16(utf8);
  return {text.begin(), text.end()};
}

std::string Narrow(std::wstring_view utf16) {
  return Utf16ToUtf8(std::u16string(utf16.begin(), utf16.end()));
}

void NarrowInto(std::wstring_view utf16, std::string& out) {
  // No UTF-16 unit takes more than three bytes.
  out.resize(utf16.size() * 3);
  const int length =
      WideCharToMultiByte(CP_UTF8, 0, utf16.data(), static_cast<int>(utf16.size()), out.data(),
                          static_cast<int>(out.size()), nullptr, nullptr);
  out.resize(static_cast<size_t>(std::max(length, 0)));
}

std::wstring SystemPath(std::string_view path) {
  std::wstring wide = Wide(path);
  for (wchar_t& c : wide) {
    if (c == L'/') c = L'\\';
  }
  // Folders stop 12 characters earlier than files do.
  constexpr size_t kOldLimit = MAX_PATH - 12;
  if (wide.size() < kOldLimit || wide.starts_with(L"\\\\?\\") || wide.starts_with(L"\\\\.\\")) {
    return wide;
  }
  const DWORD length = GetFullPathNameW(wide.c_str(), 0, nullptr, nullptr);
  if (length == 0) return wide;
  std::wstring full(length, L'\0');
  full.resize(GetFullPathNameW(wide.c_str(), length, full.data(), nullptr));
  if (full.starts_with(L"\\\\")) return L"\\\\?\\UNC\\" + full.substr(2);
  return L"\\\\?\\" + full;
}

std::string SystemErrorText(uint32_t code) {
  wchar_t text[512] = {};
  constexpr DWORD kFlags = FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS;
  DWORD length = FormatMessageW(kFlags, nullptr, code, MAKELANGID(LANG_ENGLISH, SUBLANG_ENGLISH_US),
                                text, DWORD{std::size(text)}, nullptr);
  if (length == 0) {
    length = FormatMessageW(kFlags, nullptr, code, 0, text, DWORD{std::size(text)}, nullptr);
  }
  if (length == 0) {
    // What fails by COM is known by its number in base 16.
    return Format(code >= 0x8000'0000 ? "error 0x%08X" : "error %u", code);
  }
  const std::string described = Narrow({text, length});
  const std::string_view trimmed = Trim(described);
  return std::string(trimmed.substr(0, trimmed.find_last_not_of('.') + 1));
}

void* SystemProcedure(const wchar_t* library, const char* name) {
  const HMODULE loaded = LoadLibraryExW(library, nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32);
  if (loaded == nullptr) return nullptr;
  return reinterpret_cast<void*>(GetProcAddress(loaded, name));
}

std::string Environment(const char* name) {
  const std::wstring wide_name = Wide(name);
  std::wstring value(256, L'\0');
  for (;;) {
    const DWORD length =
        GetEnvironmentVariableW(wide_name.c_str(), value.data(), static_cast<DWORD>(value.size()));
    const bool fits = length < value.size();
    value.resize(length);
    if (fits) return Narrow(value);
  }
}

}  // namespace orventa
