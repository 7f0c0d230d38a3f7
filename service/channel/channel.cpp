#include "service/channel/channel.h"

#include "base/text.h"

namespace orventa {
namespace {

bool IsSafe(char16_t unit) {
  return (unit >= u'a' && unit <= u'z') || (unit >= u'A' && unit <= u'Z') ||
         (unit >= u'0' && unit <= u'9') || unit == u'-' || unit == u'.' || unit == u'_';
}

// The user's name with other characters replaced, and then all of it once more in
// hexadecimal, since names that differ only in those would meet otherwise.
std::string SafeUser(std::string_view user) {
  const std::u16string name = Utf8ToUtf16(user);
  std::string safe;
  std::string hex;
  bool replaced = false;
  for (const char16_t unit : name) {
    const bool keep = IsSafe(unit);
    replaced = replaced || !keep;
    safe += keep ? static_cast<char>(unit) : '_';
    hex += Format("%04x", static_cast<unsigned>(unit));
  }
  return replaced ? safe + "-" + hex : safe;
}

}  // namespace

ChannelRequest SplitRequest(std::string_view text) {
  ChannelRequest request;
  const size_t line_end = text.find('\n');
  std::string_view line = text.substr(0, line_end);
  if (line_end != std::string_view::npos) request.body = text.substr(line_end + 1);
  if (line.ends_with('\r')) line.remove_suffix(1);
  const size_t space = line.find(' ');
  request.verb = line.substr(0, space);
  if (space != std::string_view::npos) request.argument = line.substr(space + 1);
  return request;
}

std::string ChannelName(ChannelKind kind, std::string_view user) {
  const std::string base = kind == ChannelKind::Control ? "ORVENTA" : "ORVENTA.deck";
  if (kind == ChannelKind::OldDeck || user.empty()) return base;
  return base + "-" + SafeUser(user);
}

}  // namespace orventa
