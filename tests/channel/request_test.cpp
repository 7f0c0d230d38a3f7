#include <gtest/gtest.h>

#include "service/channel/channel.h"

namespace orventa {
namespace {

struct Row {
  std::string text, verb, argument, body;
};

TEST(SplitRequest, TellsVerbArgumentAndBody) {
  using namespace std::string_literals;
  const Row rows[] = {
      {"STATS", "STATS", "", ""},
      {"STATS\n", "STATS", "", ""},
      {"STATS\r\nx", "STATS", "", "x"},
      {"STATS\r", "STATS", "", ""},
      {"STATS\r\r\n", "STATS\r", "", ""},
      {"SAVE 30 s\nfirst\r\nsecond\n", "SAVE", "30 s", "first\r\nsecond\n"},
      {"SAVE  two", "SAVE", " two", ""},
      {"SAVE \nbody", "SAVE", "", "body"},
      {" lead", "", "lead", ""},
      {"\nbody only", "", "", "body only"},
      {"", "", "", ""},
      {"A b\n\0c"s, "A", "b", "\0c"s},
  };
  for (const Row& row : rows) {
    const ChannelRequest request = SplitRequest(row.text);
    EXPECT_EQ(request.verb, row.verb) << row.text;
    EXPECT_EQ(request.argument, row.argument) << row.text;
    EXPECT_EQ(request.body, row.body) << row.text;
  }
}

TEST(ChannelName, NamesTheUserSafely) {
  EXPECT_EQ(ChannelName(ChannelKind::Control, "anna"), "ORVENTA-anna");
  EXPECT_EQ(ChannelName(ChannelKind::Deck, "A.b_c-9"), "ORVENTA.deck-A.b_c-9");
  EXPECT_EQ(ChannelName(ChannelKind::OldDeck, "anna"), "ORVENTA.deck");
  EXPECT_EQ(ChannelName(ChannelKind::Control, ""), "ORVENTA");
  EXPECT_EQ(ChannelName(ChannelKind::Deck, ""), "ORVENTA.deck");
  EXPECT_EQ(ChannelName(ChannelKind::Control, "Jane Dooe"),
            "ORVENTA-Jane_Dooe-004a0061006e006500200044006f006f0065");
  // U+00FC, and U+1F600 as its two UTF-16 halves.
  EXPECT_EQ(ChannelName(ChannelKind::Control, "\xC3\xBC"), "ORVENTA-_-00fc");
  EXPECT_EQ(ChannelName(ChannelKind::Control, "\xF0\x9F\x98\x80"), "ORVENTA-__-d83dde00");
  EXPECT_NE(ChannelName(ChannelKind::Control, "a b"), ChannelName(ChannelKind::Control, "a/b"));
}

}  // namespace
}  // namespace orventa
