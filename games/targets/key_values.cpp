#include "games/targets/key_values.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "base/text.h"

namespace orventa {
namespace {

constexpr size_t kMaxDepth = 32;  // Steam's own files have less than ten

enum class Token { Text, Open, Close, End, Broken };

bool IsBlank(char c) {
  return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

class Reader {
 public:
  explicit Reader(std::string_view text) : rest_(text) {}

  // Pairs up to the end of the text at depth 0, else up to the closing brace.
  bool ReadBlock(size_t depth, std::vector<KeyValues>& out) {
    if (depth > kMaxDepth) return false;
    for (;;) {
      KeyValues pair;
      const Token key = Next(pair.key);
      if (key == Token::End) return depth == 0;
      if (key == Token::Close) return depth > 0;
      if (key != Token::Text) return false;
      const Token value = Next(pair.value);
      if (value == Token::Open) {
        if (!ReadBlock(depth + 1, pair.children)) return false;
      } else if (value != Token::Text) {
        return false;
      }
      out.push_back(std::move(pair));
    }
  }

 private:
  Token Next(std::string& text) {
    SkipToToken();
    if (rest_.empty()) return Token::End;
    const char first = rest_.front();
    if (first == '"') return ReadQuoted(text);
    if (first == '{' || first == '}') {
      rest_.remove_prefix(1);
      return first == '{' ? Token::Open : Token::Close;
    }
    const size_t end = std::min(rest_.find_first_of(" \t\r\n{}\""), rest_.size());
    text = rest_.substr(0, end);
    rest_.remove_prefix(end);
    return Token::Text;
  }

  // Over blanks, comments and conditions such as [$WIN32].
  void SkipToToken() {
    for (;;) {
      while (!rest_.empty() && IsBlank(rest_.front())) rest_.remove_prefix(1);
      if (rest_.starts_with("//")) {
        rest_.remove_prefix(std::min(rest_.find('\n'), rest_.size()));
      } else if (rest_.starts_with('[')) {
        rest_.remove_prefix(std::min(rest_.find_first_of("]\n"), rest_.size() - 1) + 1);
      } else {
        return;
      }
    }
  }

  Token ReadQuoted(std::string& text) {
    for (size_t i = 1; i < rest_.size(); ++i) {
      char c = rest_[i];
      if (c == '"') {
        rest_.remove_prefix(i + 1);
        return Token::Text;
      }
      if (c == '\\' && i + 1 < rest_.size()) {
        c = rest_[++i];
        if (c == 'n') c = '\n';
        if (c == 't') c = '\t';
      }
      text += c;
    }
    return Token::Broken;
  }

  std::string_view rest_;
};

}  // namespace

const KeyValues* KeyValues::Find(std::string_view wanted) const {
  const auto found = std::find_if(children.begin(), children.end(), [&](const KeyValues& child) {
    return EqualsIgnoreCase(child.key, wanted);
  });
  return found == children.end() ? nullptr : &*found;
}

std::string_view KeyValues::Text(std::string_view wanted) const {
  const KeyValues* const found = Find(wanted);
  return found == nullptr ? std::string_view() : found->value;
}

bool ParseKeyValues(std::string_view text, KeyValues& root) {
  root = {};
  if (Reader(text).ReadBlock(0, root.children)) return true;
  root = {};
  return false;
}

}  // namespace orventa
