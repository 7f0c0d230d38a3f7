#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>

#include "base/text.h"
#include "settings/setting.h"

namespace orventa::schema {
namespace {

// from_chars knows no leading "+", which the C library takes.
std::string_view WithoutPlus(std::string_view text) {
  const bool plus = text.size() > 1 && text[0] == '+' && text[1] != '-';
  return plus ? text.substr(1) : text;
}

template <typename Number>
std::string Shortest(Number number) {
  char text[64];
  const auto [end, error] = std::to_chars(std::begin(text), std::end(text), number);
  return error == std::errc{} ? std::string(text, end) : std::string("0");
}

Taken TakenAs(bool whole) {
  return whole ? Taken::AsIs : Taken::Corrected;
}

template <typename T>
Taken Take(Member<T> member, const Range& range, Config& config, std::string_view text) {
  const std::optional<ReadInteger> read = ReadInt(text);
  if (!read || read->value < std::numeric_limits<T>::min() ||
      read->value > std::numeric_limits<T>::max()) {
    return Taken::Ignored;
  }
  int64_t number = read->value;
  const bool outside = number < range.least || number > range.most;
  if (outside && range.outside == Outside::Ignore) return Taken::Ignored;
  if (range.outside == Outside::Clamp) number = std::clamp(number, range.least, range.most);
  member(config) = static_cast<T>(number);
  return TakenAs(read->whole && number == read->value);
}

template <typename T>
bool Correct(Member<T> member, const Range& range, Config& config, const Config& defaults) {
  const int64_t number = Of(member, config);
  if (number >= range.least && number <= range.most) return false;
  member(config) = range.outside == Outside::ClampLater
                       ? static_cast<T>(std::clamp(number, range.least, range.most))
                       : Of(member, defaults);
  return true;
}

template <typename T>
Value Integer(Member<T> member, Range range) {
  Value value;
  value.read = [=](Config& config, std::string_view text) {
    return Take(member, range, config, text);
  };
  value.write = [=](const Config& config) { return std::to_string(Of(member, config)); };
  if (range.outside == Outside::DefaultLater || range.outside == Outside::ClampLater) {
    value.stage = CheckStage::Ranges;
    value.correct = [=](Config& config, const Config& defaults) {
      return Correct(member, range, config, defaults);
    };
  }
  return value;
}

Value Plain(Member<std::string> member, bool lower) {
  Value value;
  value.read = [=](Config& config, std::string_view text) {
    member(config) = lower ? ToLower(text) : std::string(text);
    return Taken::AsIs;
  };
  value.write = [=](const Config& config) { return OneLine(Of(member, config)); };
  return value;
}

Taken TakeWithin(Member<double> member, double least, double most, Config& config,
                 std::string_view text) {
  const std::optional<ReadNumber> read = ReadDouble(text);
  if (!read || read->value < least || read->value > most) return Taken::Ignored;
  member(config) = read->value;
  return TakenAs(read->whole);
}

Taken TakeColour(Member<std::string> member, Config& config, std::string_view text) {
  if (text.starts_with('#')) text.remove_prefix(1);
  if (text.size() != 6) return Taken::Ignored;
  std::string colour = "#";
  for (char c : text) {
    const bool digit = c >= '0' && c <= '9';
    const bool upper = c >= 'A' && c <= 'F';
    const bool lower = c >= 'a' && c <= 'f';
    if (!digit && !upper && !lower) return Taken::Ignored;
    colour += lower ? static_cast<char>(c - 'a' + 'A') : c;
  }
  member(config) = colour;
  return Taken::AsIs;
}

}  // namespace

std::string OneLine(std::string_view text) {
  std::string line(text);
  for (char& c : line) {
    if (c == '\n' || c == '\r' || c == '\0') c = ' ';
  }
  return std::string(Trim(line));
}

std::optional<bool> ReadBool(std::string_view text) {
  const std::string word = ToLower(Trim(text));
  if (word == "true" || word == "yes" || word == "1" || word == "on") return true;
  if (word == "false" || word == "no" || word == "0" || word == "off") return false;
  return std::nullopt;
}

std::optional<ReadInteger> ReadInt(std::string_view text) {
  text = WithoutPlus(text);
  ReadInteger read;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, read.value);
  if (text.empty() || error != std::errc{}) return std::nullopt;
  read.whole = stop == end;
  return read;
}

std::optional<ReadNumber> ReadDouble(std::string_view text) {
  text = WithoutPlus(text);
  ReadNumber read;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, read.value);
  if (text.empty() || error != std::errc{} || !std::isfinite(read.value)) return std::nullopt;
  read.whole = stop == end;
  return read;
}

std::optional<uint32_t> FindWord(const std::vector<std::string_view>& words, Alias alias,
                                 std::string_view text) {
  for (uint32_t i = 0; i < words.size(); ++i) {
    if (EqualsIgnoreCase(words[i], text)) return i;
  }
  if (!alias.word.empty() && EqualsIgnoreCase(alias.word, text)) return alias.value;
  return std::nullopt;
}

Value Bool(Member<bool> member) {
  Value value;
  value.read = [=](Config& config, std::string_view text) {
    const std::optional<bool> read = ReadBool(text);
    if (!read) return Taken::Ignored;
    member(config) = *read;
    return Taken::AsIs;
  };
  value.write = [=](const Config& config) -> std::string {
    return Of(member, config) ? "true" : "false";
  };
  return value;
}

Value Text(Member<std::string> member) {
  return Plain(member, false);
}

Value LowerText(Member<std::string> member) {
  return Plain(member, true);
}

Value Number(Member<uint32_t> member, Range range) {
  return Integer(member, range);
}

Value Number(Member<int32_t> member, Range range) {
  return Integer(member, range);
}

Value Number(Member<uint16_t> member, Range range) {
  return Integer(member, range);
}

Value NumberOrNone(Member<uint32_t> member, int64_t least, int64_t most) {
  Value value = Integer(member, Clamping(least, most));
  value.read = [=](Config& config, std::string_view text) {
    const std::optional<ReadInteger> read = ReadInt(text);
    const bool none = read && read->value == 0;
    return Take(member, none ? Clamping(0, 0) : Clamping(least, most), config, text);
  };
  return value;
}

Value Share(Member<double> member) {
  Value value;
  value.read = [=](Config& config, std::string_view text) {
    return TakeWithin(member, 0, 1, config, text);
  };
  value.write = [=](const Config& config) { return Shortest(Of(member, config)); };
  return value;
}

Value ShareOrAuto(Member<double> member) {
  Value value;
  value.read = [=](Config& config, std::string_view text) {
    const std::optional<ReadNumber> read = ReadDouble(text);
    if (!EqualsIgnoreCase(text, "auto") && !(read && read->value < 0)) {
      return TakeWithin(member, 0, 1, config, text);
    }
    member(config) = -1;
    return Taken::AsIs;
  };
  value.write = [=](const Config& config) {
    const double share = Of(member, config);
    return share < 0 ? std::string("auto") : Shortest(share);
  };
  return value;
}

Value ShareOrEmpty(Member<float> member) {
  Value value;
  value.read = [=](Config& config, std::string_view text) {
    const std::optional<ReadNumber> read = ReadDouble(text);
    const double share = read && read->value >= 0 ? std::min(read->value, 1.0) : -1.0;
    member(config) = static_cast<float>(share);
    const bool fits = read ? share >= 0 && read->whole && share == read->value : text.empty();
    return TakenAs(fits);
  };
  value.write = [=](const Config& config) {
    const float share = Of(member, config);
    return share < 0 ? std::string() : Shortest(share);
  };
  return value;
}

Value ZeroOr(Member<double> member, double least, double most) {
  Value value;
  value.read = [=](Config& config, std::string_view text) {
    const std::optional<ReadNumber> read = ReadDouble(text);
    const bool zero = read && read->value == 0;
    return TakeWithin(member, zero ? 0 : least, zero ? 0 : most, config, text);
  };
  value.write = [=](const Config& config) { return Shortest(Of(member, config)); };
  return value;
}

Value Shares(Member<std::array<float, 4>> member) {
  Value value;
  value.read = [=](Config& config, std::string_view text) {
    const std::vector<std::string_view> parts = Split(text, ',');
    std::array<float, 4> shares{};
    if (parts.size() != shares.size()) return Taken::Ignored;
    for (size_t i = 0; i < shares.size(); ++i) {
      const std::optional<ReadNumber> read = ReadDouble(Trim(parts[i]));
      if (!read || read->value < 0 || read->value > 1) return Taken::Ignored;
      shares[i] = static_cast<float>(read->value);
    }
    if (shares[2] <= 0 || shares[3] <= 0) return Taken::Ignored;  // nothing would be left
    member(config) = shares;
    return Taken::AsIs;
  };
  value.write = [=](const Config& config) {
    std::string text;
    for (const float share : Of(member, config))
      text += (text.empty() ? "" : ",") + Shortest(share);
    return text;
  };
  return value;
}

Value Colour(Member<std::string> member) {
  Value value = Plain(member, false);
  value.read = [=](Config& config, std::string_view text) {
    return TakeColour(member, config, text);
  };
  return value;
}

Value OneOf(Member<std::string> member, std::vector<std::string_view> words,
            std::string_view otherwise) {
  Value value = Plain(member, false);
  value.read = [=](Config& config, std::string_view text) {
    const std::optional<uint32_t> found = FindWord(words, {}, text);
    if (!found && otherwise.empty()) return Taken::Ignored;
    member(config) = found ? words[*found] : otherwise;
    return TakenAs(found.has_value());
  };
  return value;
}

}  // namespace orventa::schema
