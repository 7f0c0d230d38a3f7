#include "mp4/buffered_file.h"

#include <gtest/gtest.h>

#include <random>

#include "tests/fakes/temp_folder.h"
#include "tests/mp4/clip_fixture.h"

namespace orventa {
namespace {

TEST(BufferedFile, HoldsWhatWasAppendedWhateverThePieces) {
  constexpr size_t kMiB = size_t{1} << 20;
  const TempFolder folder;
  std::mt19937 random(7);
  // Around the sizes at which pieces go out by themselves or fill the buffer.
  const size_t kEdges[] = {0,     1,        4095, 4096,     32767,   32768,
                           36864, kMiB - 1, kMiB, kMiB + 1, 3 * kMiB};
  for (int round = 0; round < 20; ++round) {
    const std::string path = folder / "file";
    std::vector<uint8_t> expected;
    BufferedFile file;
    ASSERT_TRUE(file.Create(path).ok());
    for (int i = 0; i < 12; ++i) {
      const size_t edge = kEdges[random() % std::size(kEdges)];
      std::vector<uint8_t> piece(random() % 3 == 0 ? edge : random() % (edge + 1));
      for (size_t at = 0; at < piece.size(); at += 97) piece[at] = static_cast<uint8_t>(random());
      ASSERT_TRUE(file.Append(piece));
      expected.insert(expected.end(), piece.begin(), piece.end());
    }
    ASSERT_TRUE(file.Close().ok());
    ASSERT_TRUE(test::ReadFile(path) == expected) << "round " << round;
  }
}

}  // namespace
}  // namespace orventa
