#include "base/text.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <system_error>

namespace orventa {
namespace {

constexpr char32_t kReplacement = 0xFFFD;

char LowerAscii(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool SameIgnoringCase(char a, char b) {
  return LowerAscii(a) == LowerAscii(b);
}

struct DecodedChar {
  char32_t code = kReplacement;
  size_t bytes = 1;  // at least 1, so that a walk always ends
  bool valid = false;
};

// What a leading byte asks of the bytes behind it. The bounds of the second byte
// shut out overlong forms, surrogates and everything above U+10FFFF.
struct SequenceRule {
  size_t following = 0;
  uint8_t second_min = 0x80;
  uint8_t second_max = 0xBF;
  bool valid = true;
};

SequenceRule RuleFor(uint8_t lead) {
  if (lead >= 0xC2 && lead <= 0xDF) return {.following = 1};
  if (lead == 0xE0) return {.following = 2, .second_min = 0xA0};
  if (lead == 0xED) return {.following = 2, .second_max = 0x9F};
  if (lead >= 0xE1 && lead <= 0xEF) return {.following = 2};
  if (lead == 0xF0) return {.following = 3, .second_min = 0x90};
  if (lead >= 0xF1 && lead <= 0xF3) return {.following = 3};
  if (lead == 0xF4) return {.following = 3, .second_max = 0x8F};
  return {.valid = false};
}

// Decodes at `position`, which lies inside. A broken sequence is as long as the
// part of it that could have begun a character.
DecodedChar DecodeUtf8(std::string_view text, size_t position) {
  const auto byte_at = [&](size_t i) { return static_cast<uint8_t>(text[i]); };
  const uint8_t lead = byte_at(position);
  if (lead < 0x80) return {lead, 1, true};
  const SequenceRule rule = RuleFor(lead);
  if (!rule.valid) return {};

  char32_t code = lead & (0x3Fu >> rule.following);
  for (size_t i = 1; i <= rule.following; ++i) {
    if (position + i >= text.size()) return {kReplacement, i, false};
    const uint8_t byte = byte_at(position + i);
    const uint8_t low = i == 1 ? rule.second_min : uint8_t{0x80};
    const uint8_t high = i == 1 ? rule.second_max : uint8_t{0xBF};
    if (byte < low || byte > high) return {kReplacement, i, false};
    code = (code << 6) | (byte & 0x3Fu);
  }
  return {code, rule.following + 1, true};
}

void AppendUtf8(std::string& out, char32_t code) {
  const auto put = [&](char32_t byte) { out.push_back(static_cast<char>(byte)); };
  if (code < 0x80) {
    put(code);
  } else if (code < 0x800) {
    put(0xC0 | (code >> 6));
    put(0x80 | (code & 0x3F));
  } else if (code < 0x10000) {
    put(0xE0 | (code >> 12));
    put(0x80 | ((code >> 6) & 0x3F));
    put(0x80 | (code & 0x3F));
  } else {
    put(0xF0 | (code >> 18));
    put(0x80 | ((code >> 12) & 0x3F));
    put(0x80 | ((code >> 6) & 0x3F));
    put(0x80 | (code & 0x3F));
  }
}

// Capitals from `first` on and the distance to their small letters. Step 2: the
// capital and its small letter take turns.
struct CapitalRange {
  char32_t first;
  char32_t last;
  int32_t distance;
  uint32_t step = 1;
};
constexpr auto kCapitals = std::to_array<CapitalRange>({
    {0x00C0, 0x00D6, 32},   {0x00D8, 0x00DE, 32},   {0x0100, 0x012E, 1, 2}, {0x0130, 0x0130, -199},
    {0x0132, 0x0136, 1, 2}, {0x0139, 0x0147, 1, 2}, {0x014A, 0x0176, 1, 2}, {0x0178, 0x0178, -121},
    {0x0179, 0x017D, 1, 2}, {0x0386, 0x0386, 38},   {0x0388, 0x038A, 37},   {0x038C, 0x038C, 64},
    {0x038E, 0x038F, 63},   {0x0391, 0x03A1, 32},   {0x03A3, 0x03AB, 32},   {0x0400, 0x040F, 80},
    {0x0410, 0x042F, 32},   {0x0460, 0x0480, 1, 2}, {0x048A, 0x04BE, 1, 2}, {0x04C0, 0x04C0, 15},
    {0x04C1, 0x04CD, 1, 2}, {0x04D0, 0x052E, 1, 2}, {0x0531, 0x0556, 48},   {0x1E00, 0x1E94, 1, 2},
    {0x1EA0, 0x1EFE, 1, 2}, {0xFF21, 0xFF3A, 32},
});

char32_t LowerCode(char32_t code) {
  for (const CapitalRange& range : kCapitals) {
    if (code < range.first) break;
    if (code <= range.last && (code - range.first) % range.step == 0) {
      return static_cast<char32_t>(static_cast<int32_t>(code) + range.distance);
    }
  }
  return code;
}

bool IsHighSurrogate(char32_t unit) {
  return unit >= 0xD800 && unit <= 0xDBFF;
}
bool IsLowSurrogate(char32_t unit) {
  return unit >= 0xDC00 && unit <= 0xDFFF;
}

}  // namespace

std::string_view Trim(std::string_view text) {
  constexpr std::string_view kBlank = " \t\r\n";
  const size_t first = text.find_first_not_of(kBlank);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kBlank) - first + 1);
}

std::string ToLower(std::string_view text) {
  std::string lower(text);
  std::transform(lower.begin(), lower.end(), lower.begin(), LowerAscii);
  return lower;
}

std::string ToLowerUnicode(std::string_view text) {
  const auto is_ascii = [](char c) { return static_cast<uint8_t>(c) < 0x80; };
  std::string lower;
  lower.reserve(text.size());
  for (size_t i = 0; i < text.size();) {
    const size_t start = i;
    while (i < text.size() && is_ascii(text[i])) ++i;
    lower.append(text, start, i - start);
    std::transform(lower.end() - static_cast<std::ptrdiff_t>(i - start), lower.end(),
                   lower.end() - static_cast<std::ptrdiff_t>(i - start), LowerAscii);
    if (i == text.size()) break;
    const DecodedChar decoded = DecodeUtf8(text, i);
    if (decoded.valid) {
      AppendUtf8(lower, LowerCode(decoded.code));
    } else {
      lower.append(text, i, decoded.bytes);
    }
    i += decoded.bytes;
  }
  return lower;
}

bool EqualsIgnoreCase(std::string_view a, std::string_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(), SameIgnoringCase);
}

bool ContainsIgnoreCase(std::string_view text, std::string_view part) {
  return part.empty() || std::search(text.begin(), text.end(), part.begin(), part.end(),
                                     SameIgnoringCase) != text.end();
}

std::vector<std::string_view> Split(std::string_view text, char separator) {
  std::vector<std::string_view> pieces;
  size_t start = 0;
  for (;;) {
    const size_t end = text.find(separator, start);
    pieces.push_back(text.substr(start, end - start));
    if (end == std::string_view::npos) return pieces;
    start = end + 1;
  }
}

std::optional<uint64_t> ParseUnsigned(std::string_view text) {
  uint64_t value = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, value);
  if (text.empty() || error != std::errc{} || stop != end) return std::nullopt;
  return value;
}

std::string Format(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  va_list measured;
  va_copy(measured, arguments);
  const int length = std::vsnprintf(nullptr, 0, format, measured);
  va_end(measured);
  std::string text;
  if (length > 0) {
    text.resize(static_cast<size_t>(length));
    std::vsnprintf(text.data(), text.size() + 1, format, arguments);
  }
  va_end(arguments);
  return text;
}

std::u16string Utf8ToUtf16(std::string_view text) {
  std::u16string out;
  out.reserve(text.size());
  for (size_t i = 0; i < text.size();) {
    const DecodedChar decoded = DecodeUtf8(text, i);
    i += decoded.bytes;
    if (decoded.code < 0x10000) {
      out.push_back(static_cast<char16_t>(decoded.code));
    } else {
      const char32_t offset = decoded.code - 0x10000;
      out.push_back(static_cast<char16_t>(0xD800 + (offset >> 10)));
      out.push_back(static_cast<char16_t>(0xDC00 + (offset & 0x3FF)));
    }
  }
  return out;
}

std::string Utf16ToUtf8(std::u16string_view text) {
  std::string out;
  out.reserve(text.size());
  for (size_t i = 0; i < text.size(); ++i) {
    const char32_t unit = text[i];
    if (IsHighSurrogate(unit) && i + 1 < text.size() && IsLowSurrogate(text[i + 1])) {
      const char32_t low = text[++i];
      AppendUtf8(out, 0x10000 + ((unit - 0xD800) << 10) + (low - 0xDC00));
    } else {
      AppendUtf8(out, IsHighSurrogate(unit) || IsLowSurrogate(unit) ? kReplacement : unit);
    }
  }
  return out;
}

bool IsValidUtf8(std::string_view text) {
  for (size_t i = 0; i < text.size();) {
    const DecodedChar decoded = DecodeUtf8(text, i);
    if (!decoded.valid) return false;
    i += decoded.bytes;
  }
  return true;
}

std::string_view CutUtf8(std::string_view text, size_t max_bytes) {
  if (text.size() <= max_bytes) return text;
  // A character is at most four bytes, so only its beginning within the last
  // three can be torn by the cut.
  const size_t from = max_bytes > 3 ? max_bytes - 3 : 0;
  for (size_t start = max_bytes; start-- > from;) {
    if ((static_cast<uint8_t>(text[start]) & 0xC0) == 0x80) continue;
    const DecodedChar decoded = DecodeUtf8(text, start);
    return decoded.valid && start + decoded.bytes > max_bytes ? text.substr(0, start)
                                                              : text.substr(0, max_bytes);
  }
  return text.substr(0, max_bytes);
}

bool EnvironmentSwitch(const char* name) {
  const std::string value = Environment(name);
  return !value.empty() && value.front() != '0';
}

}  // namespace orventa
