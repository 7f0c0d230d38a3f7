// A settings text taken apart into lines, by the one reading of it that the reader
// and the check share. For the folder's own sources only.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace orventa::schema {

enum class LineKind { Skipped, Section, Setting, NoEquals };

struct ConfigLine {
  LineKind kind = LineKind::Skipped;  // Skipped: empty or a comment
  uint32_t number = 0;                // from 1
  std::string section;                // the one in force, in lower case
  std::string key;                    // in lower case
  std::string value;

  std::string Name() const { return section + "." + key; }
};

class ConfigLines {
 public:
  // The text must outlive this.
  explicit ConfigLines(std::string_view text);
  // False at the end.
  bool Next(ConfigLine& line);

 private:
  std::string_view rest_;
  bool ended_ = false;
  uint32_t number_ = 0;
  std::string section_;
};

}  // namespace orventa::schema
