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
  std::string_view text = Trim(rest_.substr(0, end));
  ended_ = end == std::string_view::npos;
  if (!ended_) rest_.remove_prefix(end + 1);

  line = {};
  line.number = ++number_;
  if (text.empty() || text.front() == '#' || text.front() == ';') return true;
  // A carriage return inside a line could not be written back in it.
  if (text.find('\r') != std::string_view::npos) {
    cleaned_ = OneLine(text);
    text = cleaned_;
  }
  TakeApart(text, line);
  return true;
}

void ConfigLines::TakeApart(std::string_view text, ConfigLine& line) {
  if (text.front() == '[' && text.back() == ']') {
    section_ = ToLower(Trim(text.substr(1, text.size() - 2)));
    line.kind = LineKind::Section;
    line.section = section_;
    return;
  }
  const size_t equals = text.find('=');
  line.kind = equals == std::string_view::npos ? LineKind::NoEquals : LineKind::Setting;
  name_ = section_ + "." + ToLower(Trim(text.substr(0, equals)));
  line.name = name_;
  line.section = section_;
  line.key = line.name.substr(section_.size() + 1);
  if (equals != std::string_view::npos) line.value = Trim(text.substr(equals + 1));
}

}  // namespace orventa::schema
