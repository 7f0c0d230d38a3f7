// Small operations on text: trimming, case, numbers, UTF-8 and UTF-16. None of
// them depends on the process's locale. Any thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/printf_format.h"

namespace orventa {

// Spaces, tabs and line ends.
std::string_view Trim(std::string_view text);
// ASCII letters only.
std::string ToLower(std::string_view text);
// Also the capitals of Latin, Greek, Cyrillic, Armenian and full-width letters that
// have one small letter each; what is no UTF-8 stays as it is.
std::string ToLowerUnicode(std::string_view text);
bool EqualsIgnoreCase(std::string_view a, std::string_view b);
bool ContainsIgnoreCase(std::string_view text, std::string_view part);
std::vector<std::string_view> Split(std::string_view text, char separator);

// The whole text as a decimal number, or nothing.
std::optional<uint64_t> ParseUnsigned(std::string_view text);

ORVENTA_PRINTF(1, 2) std::string Format(const char* format, ...);

// Malformed sequences and lone surrogates become U+FFFD.
std::u16string Utf8ToUtf16(std::string_view text);
std::string Utf16ToUtf8(std::u16string_view text);
bool IsValidUtf8(std::string_view text);
// Cuts to at most `max_bytes`, never inside a character.
std::string_view CutUtf8(std::string_view text, size_t max_bytes);

// An environment variable's value; empty when it is not set.
std::string Environment(const char* name);
// Whether a diagnostic switch counts as set: present, not empty, and not
// beginning with "0".
bool EnvironmentSwitch(const char* name);

}  // namespace orventa
