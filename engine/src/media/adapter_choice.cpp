#include "media/adapter_choice.h"

namespace orventa {

std::optional<size_t> ChooseAdapter(const std::vector<AdapterRow>& rows, const std::string& wanted,
                                    const std::function<AdapterAnswer(size_t)>& open) {
  std::vector<std::optional<AdapterAnswer>> answers(rows.size());
  const auto ask = [&](size_t row) {
    if (rows[row].software) return AdapterAnswer::NoDevice;
    if (!answers[row].has_value()) answers[row] = open(row);
    return *answers[row];
  };
  if (!wanted.empty()) {
    for (size_t row = 0; row < rows.size(); ++row) {
      if (rows[row].name == wanted && ask(row) != AdapterAnswer::NoDevice) return row;
    }
  }
  std::optional<size_t> integrated;
  for (size_t row = 0; row < rows.size(); ++row) {
    const AdapterAnswer answer = ask(row);
    if (answer == AdapterAnswer::Discrete) return row;
    if (answer == AdapterAnswer::Integrated && !integrated.has_value()) integrated = row;
  }
  return integrated;
}

}  // namespace orventa
