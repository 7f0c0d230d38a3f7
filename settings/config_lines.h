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
  // In lower case. All of these are valid until the next line.
  std::string_view section;  // the one in force
  std::string_view key;
  std::string_view name;  // section.key
  std::string_view value;
};

class ConfigLines {
 public:
  // The text must outlive this and hold no zero byte.
  explicit ConfigLines(std::string_view text);
  // False at the end.
  bool Next(ConfigLine& line);

 private:
  void TakeApart(std::string_view text, ConfigLine& line);

  std::string_view rest_;
  bool ended_ = false;
  uint32_t number_ = 0;
  std::string section_;
  std::string name_;  // kept from line to line, so that most lines need no memory
  std::string cleaned_;
};

}  // namespace orventa::schema
