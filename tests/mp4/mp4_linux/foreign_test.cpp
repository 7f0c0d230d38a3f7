// Files of other tools, read and held against what ffprobe says of them.
#include <gtest/gtest.h>

#include <cinttypes>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "mp4/box_io.h"
#include "mp4/mp4.h"
#include "mp4/reader.h"
#include "tests/fakes/temp_folder.h"
#include "tests/mp4/box_walker.h"
#include "tests/mp4/clip_fixture.h"
#include "tests/mp4/mp4_linux/shell.h"

namespace orventa {
namespace {

using test::Shell;

constexpr const char* kPicture = "-f lavfi -i testsrc2=s=160x90:r=30:d=3 ";
constexpr const char* kTone = "-f lavfi -i sine=440:d=3:r=48000 ";
constexpr const char* kX264 = "-c:v libx264 -preset ultrafast -g 20 ";

// What of a packet can be compared. Times count from the first packet's: ffprobe
// moves all of them when some composition offset is negative.
struct PacketLine {
  int64_t pts = 0;
  int64_t dts = 0;
  uint64_t size = 0;
  uint64_t position = 0;
  bool keyframe = false;

  bool operator==(const PacketLine&) const = default;
  void CountFrom(const PacketLine& first) {
    pts -= first.pts;
    dts -= first.dts;
  }
};

PacketLine LineOf(const Mp4Sample& sample) {
  const auto dts = static_cast<int64_t>(sample.decode_time);
  return {dts + sample.composition_offset, dts, sample.size, sample.offset, sample.sync};
}

// "pts,dts,size,pos,flags"
PacketLine LineOf(const std::string& probed) {
  PacketLine line;
  char flag = 0;
  const int fields = sscanf(probed.c_str(), "%" SCNd64 ",%" SCNd64 ",%" SCNu64 ",%" SCNu64 ",%c",
                            &line.pts, &line.dts, &line.size, &line.position, &flag);
  EXPECT_EQ(fields, 5) << probed;
  line.keyframe = flag == 'K';
  return line;
}

class Foreign : public testing::Test {
 protected:
  void Make(const std::string& arguments) {
    ASSERT_EQ(Shell("ffmpeg -nostdin -v error -y " + arguments + " " + path_), "");
  }

  // One line a packet, by ffprobe; without edits unless asked for.
  std::vector<std::string> Packets(const std::string& stream, const std::string& entries,
                                   const char* options = "-ignore_editlist 1") const {
    std::istringstream text(Shell("ffprobe -v quiet " + std::string(options) + " -select_streams " +
                                  stream + " -of csv=p=0 -show_entries packet=" + entries + " " +
                                  path_));
    std::vector<std::string> lines;
    for (std::string line; std::getline(text, line);) {
      while (line.ends_with(',')) line.pop_back();
      if (!line.empty()) lines.push_back(line);
    }
    return lines;
  }

  void ExpectAsProbed(const Mp4Samples& track, const std::string& stream) const {
    SCOPED_TRACE(stream);
    const auto probed = Packets(stream, "pts,dts,size,pos,flags");
    ASSERT_EQ(track.samples.size(), probed.size());
    if (probed.empty()) return;
    const PacketLine first = LineOf(probed[0]);
    for (size_t i = 0; i < probed.size(); ++i) {
      PacketLine theirs = LineOf(probed[i]);
      PacketLine ours = LineOf(track.samples[i]);
      theirs.CountFrom(first);
      ours.CountFrom(LineOf(track.samples[0]));
      ASSERT_EQ(ours, theirs) << i << ": " << probed[i];
    }
  }

  // Shown when others show it, edits and all.
  void ExpectShownAsProbed(const Mp4Samples& track, const std::string& stream) const {
    SCOPED_TRACE(stream);
    const auto probed = Packets(stream, "pts_time", "");
    ASSERT_EQ(track.samples.size(), probed.size());
    for (size_t i = 0; i < probed.size(); ++i) {
      const double shown = static_cast<double>(track.PresentationNs(track.samples[i])) / 1e9;
      ASSERT_NEAR(shown, std::stod(probed[i]), 1e-6) << i;
    }
  }

  void ExpectAllAsProbed(Fragments fragments) {
    const Status status = reader_.Open(path_, fragments);
    ASSERT_TRUE(status.ok()) << status.ToString();
    const Mp4Contents& contents = reader_.contents();
    ExpectAsProbed(contents.video, "v:0");
    for (size_t i = 0; i < contents.sound.size(); ++i) {
      ExpectAsProbed(contents.sound[i], "a:" + std::to_string(i));
    }
  }

  TempFolder folder_;
  std::string path_ = folder_ / "foreign.mp4";
  Mp4Reader reader_;
};

struct PlainRow {
  const char* name;
  std::string arguments;
  size_t sound;
  bool reordered;
};

TEST_F(Foreign, PlainFilesAreReadAsProbed) {
  const std::string both = std::string(kPicture) + kTone + kX264;
  const PlainRow rows[] = {
      {"plain", both + "-bf 0 -c:a aac", 1, false},
      {"B-frames, index first", both + "-bf 3 -c:a aac -movflags +faststart", 1, true},
      {"negative offsets", both + "-bf 3 -c:a aac -movflags +negative_cts_offsets", 1, true},
      {"tracks that start late, and a left-out one",
       std::string(kPicture) + "-itsoffset 0.5 " + kTone + "-itsoffset 0.25 " + kTone + kTone +
           "-map 0 -map 1 -map 2 -map 3 " + kX264 + "-bf 2 -c:a aac -c:a:2 ac3",
       2, true},
      {"64-bit times", std::string(kPicture) + kX264 + "-bf 0 -video_track_timescale 2000000000", 0,
       false},
      {"QuickTime", both + "-bf 0 -c:a aac -f mov", 1, false},
      {"HEVC as hev1",
       std::string(kPicture) + "-c:v libx265 -preset ultrafast -x265-params log-level=none", 0,
       true},
      {"AV1", "-f lavfi -i testsrc2=s=160x90:r=30:d=1 -c:v libaom-av1 -cpu-used 8 -usage realtime",
       0, false},
  };
  for (const PlainRow& row : rows) {
    SCOPED_TRACE(row.name);
    Make(row.arguments);
    ExpectAllAsProbed(Fragments::Refuse);
    const Mp4Contents& contents = reader_.contents();
    EXPECT_EQ(contents.sound.size(), row.sound);
    EXPECT_EQ(contents.video.reordered, row.reordered);
    EXPECT_EQ(contents.movie.video.fps_num, 30 * contents.movie.video.fps_den);
    EXPECT_EQ(contents.sound_left_out, row.arguments.find("ac3") != std::string::npos);
    ExpectShownAsProbed(contents.video, "v:0");
    for (size_t i = 0; i < row.sound; ++i) {
      ExpectShownAsProbed(contents.sound[i], "a:" + std::to_string(i));
    }
  }
}

TEST_F(Foreign, FragmentedFilesAreRefusedOrReadAsProbed) {
  const std::string both = std::string(kPicture) + kTone + kX264 + "-c:a aac -bf 2 -movflags ";
  for (const std::string flags :
       {"frag_keyframe+empty_moov+default_base_moof", "frag_keyframe+empty_moov", "frag_keyframe",
        "frag_keyframe+separate_moof+omit_tfhd_offset", "cmaf"}) {
    SCOPED_TRACE(flags);
    Make(both + flags);
    EXPECT_EQ(reader_.Open(path_).message(), "the file is written in fragments");
    ExpectAllAsProbed(Fragments::Read);
    const auto whole = reader_.contents().video.samples.size();
    EXPECT_EQ(whole, 90u);

    std::filesystem::resize_file(path_, std::filesystem::file_size(path_) * 6 / 10);
    const Status status = reader_.Open(path_, Fragments::Read);
    ASSERT_TRUE(status.ok()) << status.ToString();
    EXPECT_GT(reader_.contents().video.samples.size(), 19u);
    EXPECT_LT(reader_.contents().video.samples.size(), whole);
  }
}

TEST_F(Foreign, WhatCannotBeTakenIsNamed) {
  Make(std::string(kPicture) + "-c:v libvpx-vp9 -cpu-used 8 -deadline realtime");
  EXPECT_EQ(reader_.Open(path_).message(), "the video is not H.264, HEVC or AV1 (vp09)");
  Make(std::string(kTone) + "-c:a aac");
  EXPECT_EQ(reader_.Open(path_).message(), "the file has no video track");
  Make(std::string(kPicture) + kX264);
  std::filesystem::resize_file(path_, std::filesystem::file_size(path_) / 2);
  EXPECT_EQ(reader_.Open(path_).message(), "the recording was not finished");
  Make(std::string(kPicture) + kX264 + "-movflags +faststart");
  std::filesystem::resize_file(path_, std::filesystem::file_size(path_) / 2);
  EXPECT_EQ(reader_.Open(path_).message(), "the file ends before its last sample");
}

// Five gigabytes of nothing before the media.
TEST_F(Foreign, SamplesFarIntoTheFile) {
  constexpr uint64_t kGap = uint64_t{5} << 30;
  ASSERT_TRUE(WriteMp4(path_, test::VideoMovie(90)).ok());
  auto bytes = test::ReadFile(path_);
  const test::Box co64 = test::Find(bytes, "moov/trak/mdia/minf/stbl/co64");
  const test::Box mdat = test::Find(bytes, "mdat");
  std::vector<uint8_t> head(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(mdat.start));
  for (uint32_t i = 0; i < co64.U32(4); ++i) {
    for (size_t byte = 0; byte < 8; ++byte) {
      head[co64.start + 16 + 8 * i + byte] =
          static_cast<uint8_t>((co64.U64(8 + 8 * i) + kGap) >> (56 - 8 * byte));
    }
  }
  ByteWriter out(head);
  out.U32(1);
  out.U32(FourCc("free"));
  out.U64(kGap);
  test::WriteFile(path_, head);
  std::filesystem::resize_file(path_, mdat.start + kGap);
  std::ofstream(path_, std::ios::binary | std::ios::app)
      .write(reinterpret_cast<const char*>(bytes.data() + mdat.start),
             static_cast<std::streamsize>(bytes.size() - mdat.start));
  ExpectAllAsProbed(Fragments::Refuse);
  std::vector<uint8_t> sample;
  ASSERT_TRUE(reader_.ReadSample(reader_.contents().video.samples.back(), sample).ok());
  EXPECT_EQ(sample, std::vector<uint8_t>(bytes.end() - static_cast<std::ptrdiff_t>(sample.size()),
                                         bytes.end()));
}

}  // namespace
}  // namespace orventa
