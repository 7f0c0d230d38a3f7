#include "library/written_list.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <optional>
#include <set>

namespace orventa {
namespace {

constexpr std::array<std::string_view, 4> kKindWords = {"clip", "replay", "recording",
                                                        "screenshot"};
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

// A blank at either end of a path is part of it. An editor's mark is no part of a key,
// wherever the line has got to.
std::optional<WrittenFact> ReadFact(std::string_view line) {
  while (line.starts_with(kByteOrderMark)) line.remove_prefix(kByteOrderMark.size());
  const size_t equals = line.find('=');
  if (equals == std::string_view::npos || equals == 0 || equals + 1 == line.size()) {
    return std::nullopt;
  }
  return WrittenFact{std::string(line.substr(0, equals)), std::string(line.substr(equals + 1))};
}

}  // namespace

std::string_view WrittenKindWord(WrittenKind kind) {
  return kKindWords.at(static_cast<size_t>(kind));
}

bool WrittenFact::TellsKind() const {
  return std::find(kKindWords.begin(), kKindWords.end(), key) != kKindWords.end();
}

std::vector<WrittenFact> ReadWrittenList(std::string_view text) {
  std::vector<WrittenFact> facts;
  std::set<std::pair<std::string, std::string>> known;
  while (!text.empty()) {
    const size_t end = text.find_first_of("\r\n");
    if (auto fact = ReadFact(text.substr(0, end))) {
      if (known.emplace(fact->key, fact->path).second) facts.push_back(std::move(*fact));
    }
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  }
  return facts;
}

std::string WrittenListText(const std::vector<WrittenFact>& facts) {
  std::string text;
  for (const WrittenFact& fact : facts) {
    text += fact.key;
    text += '=';
    text += fact.path;
    text += '\n';
  }
  return text;
}

}  // namespace orventa
