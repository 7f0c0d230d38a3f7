#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <vector>

#include "media/memory_picture.h"
#include "media/packet.h"
#include "media/payload.h"

namespace orventa {
namespace {

TEST(PayloadTest, CopiesShareOneBlockAndTheLastOneFreesIt) {
  const std::vector<uint8_t> bytes = {1, 2, 3};
  Payload first = Payload::Copy(bytes);
  {
    const Payload second = first;
    EXPECT_TRUE(second.SharesWith(first));
    EXPECT_EQ(second.bytes().data(), first.bytes().data());
    Payload third = std::move(first);
    EXPECT_FALSE(first);  // NOLINT(bugprone-use-after-move): what a move leaves is promised
    first = third;
    Payload& itself = first;
    first = itself;
  }
  ASSERT_EQ(first.size(), 3U);  // the address checks of the build see a use after free
  EXPECT_EQ(std::memcmp(first.bytes().data(), bytes.data(), 3), 0);
}

TEST(PayloadTest, NoneIsToldFromEmpty) {
  EXPECT_FALSE(Payload());
  const Payload empty = Payload::Copy({});
  EXPECT_TRUE(empty);
  EXPECT_EQ(empty.size(), 0U);
  EXPECT_TRUE(empty.bytes().empty());
}

class OneByteRows final : public IDeferredPayloads {
 public:
  Payload Read(uint64_t index) override {
    const auto byte = static_cast<uint8_t>(index);
    return Payload::Copy({&byte, 1});
  }
  uint64_t Size(uint64_t index) const override { return index < 4 ? 1 : 0; }
};

TEST(BufferedPacketTest, LoadsFromWhereverThePayloadLies) {
  BufferedPacket in_memory;
  in_memory.payload = Payload::Copy(std::vector<uint8_t>{7, 8});
  EXPECT_EQ(in_memory.Size(), 2U);
  EXPECT_TRUE(in_memory.Load().SharesWith(in_memory.payload));

  BufferedPacket on_disk;
  on_disk.deferred = std::make_shared<OneByteRows>();
  on_disk.deferred_index = 3;
  EXPECT_EQ(on_disk.Size(), 1U);
  EXPECT_EQ(on_disk.Load().bytes()[0], 3);
}

TEST(MemoryPictureTest, PlanesLieApartAlignedAndCleared) {
  struct Case {
    PixelFormat format;
    size_t row_bytes;
    size_t chroma_rows;
  };
  constexpr uint32_t kWidth = 70;
  constexpr uint32_t kHeight = 6;
  for (const Case& c : {Case{PixelFormat::Bgra8, 280, 0}, Case{PixelFormat::RgbaHalf, 560, 0},
                        Case{PixelFormat::Nv12, 70, 3}, Case{PixelFormat::P010, 140, 3}}) {
    SCOPED_TRACE(static_cast<int>(c.format));
    const auto picture = MemoryPicture::Allocate(c.format, kWidth, kHeight);
    ASSERT_EQ(picture->InMemory(), picture.get());
    const PlaneView& first = picture->plane(0);
    EXPECT_GE(first.stride, c.row_bytes);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(first.data) % 64, 0U);
    const PlaneView& second = picture->plane(1);
    EXPECT_EQ(second.data != nullptr, c.chroma_rows > 0);
    // Fill the first plane; the second stays cleared, and every byte may be touched.
    for (uint32_t y = 0; y < kHeight; ++y) {
      std::memset(first.data + y * first.stride, 0xFF, c.row_bytes);
    }
    for (size_t y = 0; y < c.chroma_rows; ++y) {
      const uint8_t* row = second.data + y * second.stride;
      for (size_t x = 0; x < c.row_bytes; ++x) ASSERT_EQ(row[x], 0) << x << ", " << y;
    }
  }
}

}  // namespace
}  // namespace orventa
