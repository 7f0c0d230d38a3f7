#include <gtest/gtest.h>

#include "mp4/mp4_writer.h"
#include "tests/fakes/temp_folder.h"
#include "tests/mp4/box_walker.h"
#include "tests/mp4/clip_fixture.h"

namespace orventa {
namespace {

using test::kMs;
using test::kStart;

EncodedPacket Encoded(const BufferedPacket& packet) {
  return {packet.payload, static_cast<int64_t>(packet.pts), static_cast<int64_t>(packet.dts),
          packet.keyframe};
}

TEST(Recording, IsAFinishedFileAtItsEnd) {
  const TempFolder folder;
  const std::string path = folder / "a.mp4";
  const Mp4Movie movie = test::VideoMovie(150);
  const Mp4SoundTrack sound = test::Sound(kStart, 120);
  Mp4Writer writer;
  ASSERT_EQ(writer.Open(path, movie.video, {sound.format}), Status::Ok());
  for (const auto& packet : movie.packets) ASSERT_TRUE(writer.AddVideo(Encoded(packet)).ok());
  for (const auto& packet : sound.packets) ASSERT_TRUE(writer.AddAudio(0, Encoded(packet)).ok());
  EXPECT_EQ(test::Types(test::Boxes(test::ReadFile(path))),
            "ftyp free uuid moov moof mdat moof mdat uuid moof mdat moof mdat");
  ASSERT_EQ(writer.Finish(), Status::Ok());
  const auto file = test::ReadFile(path);
  EXPECT_EQ(test::Types(test::Boxes(file)), "ftyp mdat moov");
  const auto samples = test::Samples(file, "moov/trak");
  ASSERT_EQ(samples.size(), 150u);
}

}  // namespace
}  // namespace orventa
