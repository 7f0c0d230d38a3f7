#include "media/adapter_choice.h"

#include <gtest/gtest.h>

namespace orventa {
namespace {

TEST(AdapterChoice, TakesTheNamedOneElseTheBest) {
  constexpr auto kNone = AdapterAnswer::NoDevice;
  constexpr auto kBuiltIn = AdapterAnswer::Integrated;
  constexpr auto kCard = AdapterAnswer::Discrete;
  constexpr size_t kNothing = 99;
  using Answers = std::vector<AdapterAnswer>;
  const struct {
    std::vector<AdapterRow> rows;
    Answers answers;
    std::string wanted;
    size_t expected;
  } cases[] = {
      {{{"a"}, {"b"}}, {kBuiltIn, kCard}, "", 1},
      {{{"a"}, {"b"}}, {kBuiltIn, kCard}, "a", 0},
      {{{"a"}, {"b"}, {"c"}}, {kCard, kCard, kCard}, "", 0},
      {{{"a"}, {"b"}}, {kBuiltIn, kBuiltIn}, "", 0},
      {{{"a"}, {"b"}}, {kNone, kBuiltIn}, "a", 1},
      {{{"a"}, {"b"}}, {kBuiltIn, kCard}, "gone", 1},
      {{{"a"}, {"twin"}, {"twin"}}, {kCard, kNone, kBuiltIn}, "twin", 2},
      {{{"a", true}, {"b"}}, {kCard, kBuiltIn}, "a", 1},
      {{{"a", true}, {"b"}}, {kCard, kNone}, "", kNothing},
      {{}, {}, "a", kNothing},
  };
  for (const auto& row : cases) {
    std::vector<int> opened(row.rows.size());
    const auto chosen = ChooseAdapter(row.rows, row.wanted, [&](size_t index) {
      EXPECT_EQ(++opened[index], 1) << "a device is made twice";
      EXPECT_FALSE(row.rows[index].software);
      return row.answers[index];
    });
    EXPECT_EQ(chosen.value_or(kNothing), row.expected)
        << "case " << &row - cases << ", wanted '" << row.wanted << "'";
  }
}

}  // namespace
}  // namespace orventa
