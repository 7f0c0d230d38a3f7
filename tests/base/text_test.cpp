#include "base/text.h"

#include <gtest/gtest.h>

#include "base/status.h"

namespace orventa {
namespace {

struct Malformed {
  std::string_view bytes;
  std::u16string_view expected;
};

TEST(Text, WellFormedUtf8GoesThereAndBack) {
  const struct {
    std::string_view utf8;
    std::u16string_view utf16;
  } kPairs[] = {
      {"", u""},
      {"plain", u"plain"},
      {"\x7F\xC2\x80\xDF\xBF", u"\u007F\u0080\u07FF"},
      {"\xE0\xA0\x80\xED\x9F\xBF\xEE\x80\x80\xEF\xBF\xBF", u"\u0800\uD7FF\uE000\uFFFF"},
      {"\xF0\x90\x80\x80\xF4\x8F\xBF\xBF", u"\U00010000\U0010FFFF"},
      {std::string_view("a\0b", 3), std::u16string_view(u"a\0b", 3)},
  };
  for (const auto& pair : kPairs) {
    SCOPED_TRACE(pair.utf8);
    EXPECT_TRUE(IsValidUtf8(pair.utf8));
    EXPECT_EQ(Utf8ToUtf16(pair.utf8), pair.utf16);
    EXPECT_EQ(Utf16ToUtf8(pair.utf16), pair.utf8);
  }
}

// One replacement character for each part that could have begun a character, as
// the tables of well-formed bytes in the Unicode standard say.
TEST(Text, MalformedUtf8BecomesReplacementCharacters) {
  const Malformed kCases[] = {
      {"\x80", u"\uFFFD"},                                // a tail alone
      {"\xC0\xAF", u"\uFFFD\uFFFD"},                      // overlong "/"
      {"\xC1\xBF", u"\uFFFD\uFFFD"},                      // overlong
      {"\xE0\x9F\x80", u"\uFFFD\uFFFD\uFFFD"},            // overlong in three
      {"\xF0\x8F\xBF\xBF", u"\uFFFD\uFFFD\uFFFD\uFFFD"},  // overlong in four
      {"\xED\xA0\x80", u"\uFFFD\uFFFD\uFFFD"},            // a surrogate
      {"\xF4\x90\x80\x80", u"\uFFFD\uFFFD\uFFFD\uFFFD"},  // above the last
      {"\xF8\x88\x80\x80\x80", u"\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD"},
      {"\xFE\xFF", u"\uFFFD\uFFFD"},
      {"a\xE2\x82", u"a\uFFFD"},      // torn at the end
      {"\xF0\x9F\x98z", u"\uFFFDz"},  // torn in the middle
      {"\xC3(", u"\uFFFD("},
      {"\xE1\x80\xE2\xF0\x91\x92\xF1\xBF\x41", u"\uFFFD\uFFFD\uFFFD\uFFFD\u0041"},
  };
  for (const Malformed& item : kCases) {
    SCOPED_TRACE(testing::PrintToString(item.bytes));
    EXPECT_FALSE(IsValidUtf8(item.bytes));
    EXPECT_EQ(Utf8ToUtf16(item.bytes), item.expected);
  }
}

TEST(Text, LoneSurrogatesBecomeReplacementCharacters) {
  const char16_t kUnits[] = {0xDC00, u'a', 0xD83D, u'b', 0xD83D, 0xD83D, 0xDE00, 0xD83D};
  EXPECT_EQ(Utf16ToUtf8({kUnits, std::size(kUnits)}),
            "\xEF\xBF\xBD"
            "a"
            "\xEF\xBF\xBD"
            "b"
            "\xEF\xBF\xBD"
            "\xF0\x9F\x98\x80"
            "\xEF\xBF\xBD");
}

TEST(Text, CutsBetweenCharacters) {
  const std::string text = "a\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80z";  // 1+2+3+4+1 bytes
  const size_t kWhole[] = {0, 1, 1, 3, 3, 3, 6, 6, 6, 6, 10, 11, 11};
  for (size_t limit = 0; limit < std::size(kWhole); ++limit) {
    EXPECT_EQ(CutUtf8(text, limit), text.substr(0, kWhole[limit])) << limit;
  }
  // Nothing to be kept whole in a text that is not UTF-8.
  EXPECT_EQ(CutUtf8("\x80\x80\x80\x80\x80\x80", 4).size(), 4u);
}

TEST(Text, NumbersAreWholeDecimalOrNothing) {
  EXPECT_EQ(ParseUnsigned("0"), 0u);
  EXPECT_EQ(ParseUnsigned("007"), 7u);
  EXPECT_EQ(ParseUnsigned("18446744073709551615"), UINT64_MAX);
  for (const char* refused :
       {"", " 1", "1 ", "+1", "-1", "0x10", "1.0", "18446744073709551616", "1e3", "12a"}) {
    EXPECT_EQ(ParseUnsigned(refused), std::nullopt) << refused;
  }
}

TEST(Text, LowersLettersOfManyScripts) {
  EXPECT_EQ(ToLowerUnicode("A[Z \u00C9\u00D7\u00DF\u0178 \u0141\u0142\u0130\u0131\u017D"),
            "a[z \u00E9\u00D7\u00DF\u00FF \u0142\u0142i\u0131\u017E");
  EXPECT_EQ(ToLowerUnicode("\u0386\u0391\u03A9\u03C9 \u0401\u0416\u042F\u0436\u04C0\u04C1\u04C2"),
            "\u03AC\u03B1\u03C9\u03C9 \u0451\u0436\u044F\u0436\u04CF\u04C2\u04C2");
  EXPECT_EQ(ToLowerUnicode("\xC3 \xFF\xE2\x82"
                           "A \u4E16\U0001F600"),
            "\xC3 \xFF\xE2\x82"
            "a \u4E16\U0001F600");
}

TEST(Text, TrimsSplitsAndComparesAsciiOnly) {
  EXPECT_EQ(Trim(" \t\r\n a b \r\n"), "a b");
  EXPECT_EQ(Trim(" \t "), "");
  EXPECT_EQ(Split("a,,b,", ','), (std::vector<std::string_view>{"a", "", "b", ""}));
  EXPECT_EQ(Split("", ','), (std::vector<std::string_view>{""}));
  EXPECT_EQ(ToLower("A[Z\xC3\x84"), "a[z\xC3\x84");
  EXPECT_TRUE(EqualsIgnoreCase("WebCam", "wEBcAM"));
  EXPECT_FALSE(EqualsIgnoreCase("\xC3\x84", "\xC3\xA4"));
  EXPECT_FALSE(EqualsIgnoreCase("@", "`"));
  EXPECT_FALSE(EqualsIgnoreCase("abc", "ab"));
  EXPECT_TRUE(ContainsIgnoreCase("My Game.exe", "GAME"));
  EXPECT_TRUE(ContainsIgnoreCase("x", ""));
  EXPECT_FALSE(ContainsIgnoreCase("", "x"));
}

TEST(Text, FormatsTextsOfAnyLength) {
  const std::string longer(5000, 'x');
  EXPECT_EQ(Format("<%s> %llu %5.2f", longer.c_str(), 18446744073709551615ULL, 1.005).size(),
            longer.size() + 2 + 1 + 20 + 1 + 5);
  EXPECT_EQ(Format("%s", ""), "");
}

TEST(StatusText, IsTheWordAndTheMessage) {
  EXPECT_EQ(Status::Ok().ToString(), "Ok");
  EXPECT_EQ(Status(StatusCode::DriveFull, "no room").ToString(), "DriveFull: no room");
  EXPECT_EQ(Status(StatusCode::NoEncoder, "").ToString(), "NoEncoder");
  EXPECT_EQ(StatusCodeWord(static_cast<StatusCode>(12)), "Unknown");
}

}  // namespace
}  // namespace orventa
