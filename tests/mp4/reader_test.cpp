#include "mp4/reader.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <functional>

#include "mp4/box_io.h"
#include "mp4/mp4.h"
#include "mp4/mp4_writer.h"
#include "mp4/repair.h"
#include "tests/fakes/temp_folder.h"
#include "tests/mp4/box_walker.h"
#include "tests/mp4/clip_fixture.h"

namespace orventa {
namespace {

using test::Find;
using test::kMs;
using test::kStart;
using Bytes = std::vector<uint8_t>;

constexpr const char* kTable = "moov/trak/mdia/minf/stbl/";

// Everything that a clip can have.
Mp4Movie FullMovie() {
  Mp4Movie movie = test::VideoMovie(90, 60000, 1001);
  movie.video.bit_depth = 0;
  movie.video.primaries = Mp4Primaries::Bt2020;
  movie.video.transfer = Mp4Transfer::Pq;
  movie.video.matrix = Mp4Matrix::Bt2020;
  movie.video.full_range = true;
  movie.video.mastering_max_nits = 1000;
  movie.video.mastering_min_nits = 0.005f;
  movie.video.max_cll = 900;
  movie.video.max_fall = 400;
  movie.video.sdr_white_nits = 203;
  movie.sound.push_back(test::Sound(kStart - 5 * kMs, 60));
  movie.sound.push_back(test::Sound(kStart + 300 * kMs, 40));
  movie.sound[1].format.voice = true;
  auto webcam = std::make_shared<Mp4WebcamTrack>(test::Webcam());
  webcam->placement.flip_vertical = true;
  webcam->placement.crop_x = 0.25f;
  webcam->placement.crop_width = 0.5f;
  webcam->placement.shape = 2;
  webcam->placement.border = 0.01f;
  webcam->placement.border_color = 0x123456;
  movie.webcam = webcam;
  for (uint32_t i = 0; i < 30; ++i) {
    movie.webcam_packets.push_back(test::Packet(test::Slice(40, 1000 + i, i == 0),
                                                kStart + 40 * kMs + i * 1000 * kMs / 30, i == 0));
  }
  movie.markers = {{kStart, "first"}, {kStart + 500 * kMs, "Zwölf"}};
  movie.events = {{kStart + 1 * kMs, "kill", 2, "Headshot", 1, "somebody"},
                  {kStart + 2 * kMs, "death", 1, "", 2, ""}};
  movie.presses = {1, {9, 8, 7}};
  movie.captions = "a caption";
  return movie;
}

std::vector<BufferedPacket> PacketsOf(const Mp4Reader& reader, const Mp4Samples& track) {
  std::vector<BufferedPacket> packets;
  for (const Mp4Sample& sample : track.samples) {
    Bytes bytes;
    EXPECT_TRUE(reader.ReadSample(sample, bytes).ok());
    const auto shown_ns = static_cast<uint64_t>(track.PresentationNs(sample));
    packets.push_back(test::Packet(bytes, kStart + shown_ns, sample.sync));
  }
  return packets;
}

// What is to be written to have the same file again.
Mp4Movie MovieOf(const Mp4Reader& reader) {
  const Mp4Contents& contents = reader.contents();
  Mp4Movie movie = contents.movie;
  movie.packets = PacketsOf(reader, contents.video);
  movie.webcam_packets = PacketsOf(reader, contents.webcam);
  for (size_t i = 0; i < movie.sound.size(); ++i) {
    movie.sound[i].packets = PacketsOf(reader, contents.sound[i]);
  }
  for (Mp4Marker& marker : movie.markers) marker.time_ns += kStart;
  for (Mp4GameEvent& event : movie.events) event.time_ns += kStart;
  return movie;
}

class Reader : public testing::Test {
 protected:
  Bytes Write(const Mp4Movie& movie) {
    const Status status = WriteMp4(path_, movie);
    EXPECT_TRUE(status.ok()) << status.ToString();
    return test::ReadFile(path_);
  }
  Status Open(const Bytes& file, Fragments fragments = Fragments::Refuse) {
    test::WriteFile(path_, file);
    return reader_.Open(path_, fragments);
  }
  // Overwrites a number in the body of a box.
  static Bytes Set(Bytes file, const std::string& path, size_t at, size_t width, uint64_t value) {
    const test::Box box = Find(file, path);
    for (size_t i = 0; i < width; ++i) {
      file.at(box.start + box.header_bytes + at + i) =
          static_cast<uint8_t>(value >> (8 * (width - 1 - i)));
    }
    return file;
  }
  static Bytes Rename(Bytes file, const std::string& path, std::string_view type) {
    const test::Box box = Find(file, path);
    std::copy(type.begin(), type.end(), file.begin() + static_cast<std::ptrdiff_t>(box.start + 4));
    return file;
  }

  TempFolder folder_;
  std::string path_ = folder_ / "in.mp4";
  Mp4Reader reader_;
};

TEST_F(Reader, AClipWrittenAgainIsTheSameFile) {
  const Bytes first = Write(FullMovie());
  ASSERT_EQ(reader_.Open(path_), Status::Ok());
  const Mp4Contents& contents = reader_.contents();
  EXPECT_EQ(contents.movie.video.fps_num, 60000u);
  EXPECT_EQ(contents.movie.video.fps_den, 1001u);
  EXPECT_TRUE(contents.movie.sound[1].format.voice);
  EXPECT_EQ(contents.movie.events[0].whom, "somebody");
  EXPECT_EQ(contents.webcam.segment_ns / kMs, 1000u);
  EXPECT_FALSE(contents.sound_left_out);
  Mp4Reader source = std::move(reader_);
  path_ = folder_ / "again.mp4";
  EXPECT_EQ(Write(MovieOf(source)), first);
}

// The same samples by another road, whose boxes inside the `mdat` must not be seen.
TEST_F(Reader, ARecordingIsReadBeforeAndAfterItsEnd) {
  const Mp4Movie movie = FullMovie();
  Mp4Writer writer;
  ASSERT_EQ(writer.Open(path_, movie.video, {movie.sound[0].format}), Status::Ok());
  const auto encoded = [](const BufferedPacket& packet) {
    const auto pts = static_cast<int64_t>(packet.pts);
    return EncodedPacket{packet.payload, pts, pts, packet.keyframe};
  };
  for (const auto& packet : movie.packets) ASSERT_TRUE(writer.AddVideo(encoded(packet)).ok());
  for (const auto& packet : movie.sound[0].packets) {
    ASSERT_TRUE(writer.AddAudio(0, encoded(packet)).ok());
  }
  const Bytes cut_off = test::ReadFile(path_);
  ASSERT_EQ(writer.Finish(), Status::Ok());
  ASSERT_EQ(reader_.Open(path_), Status::Ok());
  const std::vector<Mp4Sample> whole = reader_.contents().video.samples;
  ASSERT_EQ(whole.size(), movie.packets.size());
  ASSERT_EQ(reader_.contents().sound.size(), 1u);
  for (size_t i = 0; i < whole.size(); ++i) {
    Bytes bytes;
    ASSERT_TRUE(reader_.ReadSample(whole[i], bytes).ok());
    const auto payload = movie.packets[i].payload.bytes();
    ASSERT_EQ(bytes, test::LengthPrefixed({payload.begin(), payload.end()}));
    ASSERT_EQ(whole[i].sync, movie.packets[i].keyframe);
  }

  path_ = folder_ / "cut.mp4";
  EXPECT_EQ(Open(cut_off).message(), "the recording was not finished");
  EXPECT_FALSE(reader_.IsOpen());
  const Bytes foreign = Set(cut_off, "uuid", 0, 1, 'X');
  EXPECT_EQ(Open(foreign).message(), "the file is written in fragments");
  for (const size_t bytes : {cut_off.size(), cut_off.size() - 1}) {
    ASSERT_EQ(Open({cut_off.begin(), cut_off.begin() + static_cast<std::ptrdiff_t>(bytes)},
                   Fragments::Read),
              Status::Ok());
    const auto& part = reader_.contents().video.samples;
    ASSERT_GE(part.size(), 60u);
    for (size_t i = 0; i < part.size(); ++i) {
      ASSERT_EQ(part[i].offset, whole[i].offset) << i;
      ASSERT_EQ(part[i].size, whole[i].size) << i;
      ASSERT_EQ(part[i].decode_time, whole[i].decode_time) << i;
      ASSERT_EQ(part[i].sync, whole[i].sync) << i;
    }
  }
  test::WriteFile(path_, cut_off);
  ASSERT_EQ(FinishInterrupted(path_), Status::Ok());
  ASSERT_EQ(reader_.Open(path_), Status::Ok());
  EXPECT_GE(reader_.contents().video.samples.size(), 60u);
  EXPECT_EQ(reader_.contents().sound.size(), 1u);

  const Bytes late = Set(cut_off, "moof/traf/tfdt", 4, 8, uint64_t{604801} * 120000);
  EXPECT_EQ(Open(late, Fragments::Read).message(), "the fragments' length is not to be believed");
  const Bytes mute = Rename(Rename(cut_off, "moof", "skip"), "moof", "skip");
  EXPECT_EQ(Open(mute, Fragments::Read).message(), "no picture in fragments");
}

TEST_F(Reader, EveryRefusalHasItsWords) {
  Mp4Movie movie = test::VideoMovie(90);
  movie.sound.push_back(test::Sound(kStart, 60));
  const Bytes good = Write(movie);
  const std::string table = kTable;
  const std::string entry = table + "stsd/avc1";
  const struct {
    const char* words;
    Bytes file;
  } rows[] = {
      {"not an MP4 file", {0, 0, 0, 8, 'f', 't', 'y'}},
      {"the recording was not finished", {0, 0, 0, 9, 'm', 'o', 'o', 'v'}},
      {"the recording was not finished", Rename(good, "moov", "skip")},
      {"the movie has no timescale", Set(good, "moov/mvhd", 12, 4, 0)},
      {"a track has no timescale", Set(good, "moov/trak[1]/mdia/mdhd", 12, 4, 0)},
      {"the file has no video track", Set(good, "moov/trak/mdia/hdlr", 8, 4, FourCc("text"))},
      {"the video track is empty", Set(good, table + "stsz", 8, 4, 0)},
      {"the video is not H.264, HEVC or AV1 (vp?9)", Rename(good, entry,
                                                            "vp\x07"
                                                            "9")},
      {"the video has no configuration record", Rename(good, entry + "/avcC", "skip")},
      {"the video's configuration record cannot be used", Set(good, entry + "/avcC", 4, 1, 0xFD)},
      {"the video's configuration record cannot be used", Set(good, entry + "/avcC", 6, 2, 900)},
      {"the sample size table is short", Set(good, table + "stsz", 8, 4, 91)},
      {"the sample size table is short", Rename(good, table + "stsz", "skip")},
      {"the sample table is implausibly long", Set(good, table + "stsz", 4, 8, 0x0000000108000001)},
      {"the sample table is implausibly long", Set(good, table + "stsz", 4, 8, 0x0000000100004000)},
      {"the chunk table does not cover every sample", Set(good, table + "stsc", 12, 4, 44)},
      {"the chunk table does not cover every sample", Set(good, table + "co64", 4, 4, 1)},
      {"the file ends before its last sample", Set(good, table + "co64", 8, 8, UINT64_MAX)},
      {"the file ends before its last sample",
       Set(good, "moov/trak[1]/mdia/minf/stbl/co64", 8, 8, good.size() - 1)},
  };
  for (const auto& row : rows) {
    const Status expected(StatusCode::InvalidArgument, row.words);
    EXPECT_EQ(Open(row.file), expected) << row.words;
    EXPECT_FALSE(reader_.IsOpen()) << row.words;
  }
  ASSERT_EQ(Open(good), Status::Ok());
  const std::string absent = folder_ / "absent.mp4";
  EXPECT_EQ(reader_.Open(absent).message(), "cannot open '" + absent + "'");
  EXPECT_FALSE(reader_.IsOpen());

  test::WriteFile(path_, {0x10, 0, 0, 1, 'm', 'o', 'o', 'v'});
  std::filesystem::resize_file(path_, 0x10000001);
  EXPECT_EQ(reader_.Open(path_).message(), "the index is implausibly large");
}

// Chunks that lie in one place would have a reader read the file many times over.
TEST_F(Reader, SamplesThatShareTheirBytesAreRefused) {
  Bytes file = Write(test::VideoMovie(300));
  const std::string table = kTable;
  const test::Box co64 = Find(file, table + "co64");
  const uint64_t first = co64.U64(8);
  for (uint32_t i = 0; i < co64.U32(4); ++i) file = Set(file, table + "co64", 8 + 8 * i, 8, first);
  EXPECT_EQ(Open(file), Status::Ok());
  file = Set(file, table + "stsz", 4, 4, (file.size() - first) / 60);
  EXPECT_EQ(Open(file).message(), "the sample table is implausibly long");
}

// Whatever is missing at its end is part of a sample, or of the index.
TEST_F(Reader, AFileCutAnywhereIsRefused) {
  const Bytes good = Write(FullMovie());
  for (size_t less = 1; less <= good.size(); less += 1 + good.size() / 200) {
    EXPECT_FALSE(Open({good.begin(), good.end() - static_cast<std::ptrdiff_t>(less)}).ok());
  }
}

TEST_F(Reader, SoundThatCannotBePassedOnIsLeftOut) {
  Mp4Movie movie = test::VideoMovie(30);
  movie.sound = {test::Sound(kStart, 20), test::Sound(kStart, 20)};
  const Bytes good = Write(movie);
  const std::string entry = "moov/trak[1]/mdia/minf/stbl/stsd/mp4a";
  for (const Bytes& file : {Rename(good, entry, "ac-3"), Set(good, entry, 8, 2, 2),
                            Rename(good, entry + "/esds", "skip"),
                            Set(good, entry + "/esds", 4 + 2 + 3 + 2, 1, 0x6B)}) {
    ASSERT_EQ(Open(file), Status::Ok());
    EXPECT_TRUE(reader_.contents().sound_left_out);
    EXPECT_EQ(reader_.contents().sound.size(), 1u);
    EXPECT_EQ(reader_.contents().sound[0].track_id, 3u);
  }
}

TEST_F(Reader, UserDataIsTakenAsFarAsItGoes) {
  const Bytes good = Write(FullMovie());
  using Movie = const Mp4Movie&;
  const std::string events = "moov/udta/uuid[0]";
  const std::string webcam = "moov/udta/uuid[1]";
  const auto without_sides = [](Movie movie) {
    return movie.events.size() == 2 && movie.events[0].side == 0 && movie.events[0].whom.empty();
  };
  const auto whole_crop = [](Movie movie) {
    return movie.webcam->placement.crop_width == 1 && movie.webcam->placement.crop_x == 0;
  };
  const struct {
    const char* name;
    Bytes file;
    std::function<bool(Movie)> holds;
  } rows[] = {
      {"one event more than there are", Set(good, events, 17, 2, 3), without_sides},
      {"a label beyond the box", Set(good, events, 24, 1, 255),
       [](Movie movie) { return movie.events.empty(); }},
      {"other version", Set(good, events, 16, 1, 2),
       [](Movie movie) { return movie.events.empty() && movie.captions == "a caption"; }},
      {"a chapter beyond the box", Set(good, "moov/udta/chpl", 8, 1, 9),
       [](Movie movie) { return movie.markers.size() == 2; }},
      {"a crop too small", Set(good, webcam, 46, 4, 9'999), whole_crop},
      {"a crop beyond the edge", Set(good, webcam, 38, 4, 500'200), whole_crop},
      {"an unknown shape", Set(good, webcam, 54, 1, 3),
       [](Movie movie) { return movie.webcam->placement.shape == 0; }},
      {"no such webcam", Set(good, webcam, 17, 4, 77),
       [](Movie movie) { return movie.webcam == nullptr; }},
  };
  for (const auto& row : rows) {
    ASSERT_EQ(Open(row.file), Status::Ok()) << row.name;
    EXPECT_TRUE(row.holds(reader_.contents().movie)) << row.name;
  }
  // The webcam's track is never the video, even where there is no other.
  const Bytes swapped = Set(good, webcam, 17, 4, 1);
  ASSERT_EQ(Open(swapped), Status::Ok());
  EXPECT_EQ(reader_.contents().video.track_id, 4u);
  EXPECT_EQ(reader_.contents().webcam.track_id, 1u);
}

}  // namespace
}  // namespace orventa
