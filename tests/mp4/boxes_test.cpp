#include "mp4/boxes.h"

#include <gtest/gtest.h>

#include "tests/mp4/clip_fixture.h"

namespace orventa {
namespace {

template <class Box>
std::vector<uint8_t> Written(const Box& box) {
  std::vector<uint8_t> bytes;
  ByteWriter out(bytes);
  WriteBox(out, box);
  return bytes;
}

// Gives every field of a description a value of its own.
class FieldFiller {
 public:
  void U8(uint8_t& value) { value = static_cast<uint8_t>(Next()); }
  void U16(uint16_t& value) { value = static_cast<uint16_t>(0x8000 + Next()); }
  void U24(uint32_t& value) { value = 0x800000 + Next(); }
  void U32(uint32_t& value) { value = 0x80000000 + Next(); }
  void U64(uint64_t& value) { value = 0x8000000000000000 + Next(); }
  void Sized(uint8_t version, uint64_t& value) {
    value = version == 1 ? 0x8000000000000000 + Next() : 0x80000000 + Next();
  }
  void Zeros(size_t) {}
  void Fixed(std::span<const uint8_t>) {}

 private:
  uint32_t Next() { return next_++; }
  uint32_t next_ = 1;  // so that a box whose first field is its version gets version 1
};

template <class Box>
class FixedBoxes : public testing::Test {};
using AllBoxes =
    testing::Types<MovieHeader, TrackHeader, MediaHeader, ColourInformation,
                   MasteringDisplayColourVolume, ContentLightLevel, SdrWhite, WebcamOverlay>;
TYPED_TEST_SUITE(FixedBoxes, AllBoxes);

TYPED_TEST(FixedBoxes, ReadBackWhatTheyWrote) {
  TypeParam plain, filled;
  FieldFiller filler;
  TypeParam::Describe(filled, filler);
  ASSERT_FALSE(plain == filled);
  for (const TypeParam& box : {plain, filled}) {
    const auto bytes = Written(box);
    const auto body = std::span<const uint8_t>(bytes).subspan(kBoxHeaderBytes);
    TypeParam back = box == plain ? filled : plain;
    ASSERT_TRUE(ReadBox(body, back));
    EXPECT_TRUE(back == box);
    EXPECT_EQ(Written(back), bytes);
    EXPECT_FALSE(ReadBox(body.first(body.size() - 1), back)) << "one byte short";
  }
}

TEST(Boxes, BytesOfTheWhiteLevel) {
  SdrWhite white;
  white.luminance = 2030000;
  EXPECT_EQ(Written(white), test::Hex("0000001D 75756964 4F5256454E544100 5344525748495445"
                                      "01 001EF9B0"));
}

TEST(Boxes, OfAnotherKindAreToldApart) {
  ColourInformation colour;
  EXPECT_FALSE(ReadBox(test::Hex("70726F66 0001 0001 0001 00"), colour));  // an ICC profile
  EXPECT_TRUE(ReadBox(test::Hex("6E636C78 0009 0010 0009 80"), colour));
  EXPECT_EQ(colour.transfer_characteristics, 16);
}

TEST(Boxes, EditsOfVersion0KeepTheirSign) {
  EditListEntry entry;
  const auto body = test::Hex("00001000 FFFFFFFF 00010000");
  FieldReader fields(body);
  EditListEntry::Describe(entry, fields, 0);
  EXPECT_TRUE(fields.ok());
  EXPECT_EQ(entry.media_time, EditListEntry::kEmptyEdit);
}

}  // namespace
}  // namespace orventa
