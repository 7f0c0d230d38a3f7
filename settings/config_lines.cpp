#include "settings/config_lines.h"

#include "base/text.h"
#include "settings/setting.h"

namespace orventa::schema {

ConfigLines::ConfigLines(std::string_view text) : rest_(text) {
  constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
  if (rest_.starts_with(kByteOrderMark)) rest_.remove_prefix(kByteOrderMark.size());
}

bool ConfigLines::Next(ConfigLine& line) {
  if (ended_) return false;
  const size_t end = rest_.find('\n');
  // A carriage return or a zero byte inside a line could not be written back in it.
  const std::string text = OneLine(rest_.substr(0, end));
  ended_ = end == std::string_view::npos;
  if (!ended_) rest_.remove_prefix(end + 1);

  line = {};
  line.number = ++number_;
  if (text.empty() || text.front() == '#' || text.front() == ';') return true;
  if (text.front() == '[' && text.back() == ']') {
    section_ = ToLower(Trim(std::string_view(text).substr(1, text.size() - 2)));
    line.kind = LineKind::Section;
    line.section = section_;
    return true;
  }
  line.section = section_;
  const size_t equals = text.find('=');
  line.kind = equals == std::string::npos ? LineKind::NoEquals : LineKind::Setting;
  line.key = ToLower(Trim(std::string_view(text).substr(0, equals)));
  if (equals != std::string::npos) line.value = Trim(std::string_view(text).substr(equals + 1));
  return true;
}

}  // namespace orventa::schema
