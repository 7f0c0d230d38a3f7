// Reads Steam's text files: nested pairs of quoted words, braces around blocks. Pure;
// any thread, any bytes.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace orventa {

struct KeyValues {
  std::string key;
  std::string value;  // of a pair; empty for a block
  std::vector<KeyValues> children;

  // The first with this key, in whatever case; null when there is none.
  const KeyValues* Find(std::string_view wanted) const;
  // Its value; empty when there is none.
  std::string_view Text(std::string_view wanted) const;
};

// The file's pairs as children of `root`. False, and nothing in `root`, when a brace
// or a quote is not closed, a key has no value, or blocks are nested too deep.
bool ParseKeyValues(std::string_view text, KeyValues& root);

}  // namespace orventa
