#include <gtest/gtest.h>
#include <sys/mount.h>

#include <fstream>
#include <string>

#include "tests/fakes/temp_folder.h"
#include "tests/mp4/clip_fixture.h"

namespace orventa {
namespace {

class FullDrive : public testing::Test {
 protected:
  void TearDown() override {
    if (mounted_) umount(folder_.path().c_str());
  }
  // False where this is not permitted.
  bool Mount(const char* size) {
    mounted_ = mount("tmpfs", folder_.path().c_str(), "tmpfs", 0, size) == 0;
    return mounted_;
  }

  TempFolder folder_;
  bool mounted_ = false;
};

TEST_F(FullDrive, IsSeenBeforeTheFileIsMade) {
  if (!Mount("size=60m")) GTEST_SKIP() << "mounting a small drive is not permitted here";
  // There is room for the clip, but not for what is left to the rest of the system.
  EXPECT_EQ(WriteMp4(folder_ / "clip.mp4", test::VideoMovie(60)),
            Status(StatusCode::DriveFull, "the drive is full"));
  EXPECT_TRUE(TempFolder::Names(folder_.path()).empty());
}

// Fills the drive when the first payload is read the second time: the file is
// being written then.
class Filling : public test::FakeDeferred {
 public:
  Payload Read(uint64_t index) override {
    Payload payload = FakeDeferred::Read(index);
    if (index == 0 && reads[0] == 2) {
      std::ofstream out(filler, std::ios::binary);
      const std::string piece(1 << 20, 'x');
      while (out.write(piece.data(), static_cast<std::streamsize>(piece.size())).flush()) {
      }
    }
    return payload;
  }
  std::string filler;
};

TEST_F(FullDrive, WhileWritingLeavesNoFile) {
  if (!Mount("size=72m")) GTEST_SKIP() << "mounting a small drive is not permitted here";
  Mp4Movie movie = test::VideoMovie(60);
  for (auto& packet : movie.packets) {
    packet.payload = Payload::Copy(test::Slice(50'000, 1, packet.keyframe));
  }
  test::Defer<Filling>(movie.packets)->filler = folder_ / "filler";
  EXPECT_EQ(WriteMp4(folder_ / "clip.mp4", movie),
            Status(StatusCode::DriveFull, "the drive is full"));
  EXPECT_EQ(TempFolder::Names(folder_.path()), std::vector<std::string>{"filler"});
}

}  // namespace
}  // namespace orventa
