// Clips made of what real encoders gave, held against ffprobe and ffmpeg.
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "mp4/mp4.h"
#include "tests/fakes/temp_folder.h"
#include "tests/mp4/box_walker.h"
#include "tests/mp4/clip_fixture.h"
#include "tests/mp4/mp4_linux/encoded.h"

namespace orventa {
namespace {

using test::AddFrames;
using test::kMs;
using test::kStart;
using test::MovieOf;
using test::Probe;
using test::Shell;
using test::SoundOf;
using Bytes = std::vector<uint8_t>;

class Judge : public testing::Test {
 protected:
  Bytes Encode(const std::string& arguments, const std::string& name) {
    const std::string path = folder_ / name;
    const std::string said = Shell("ffmpeg -nostdin -v error -y " + arguments + " " + path);
    EXPECT_EQ(said, "");
    return test::ReadFile(path);
  }

  void WriteAndDecode(const Mp4Movie& movie) {
    const Status status = WriteMp4(Clip(), movie);
    ASSERT_TRUE(status.ok()) << status.ToString();
    EXPECT_EQ(Shell("ffmpeg -nostdin -v error -i " + Clip() + " -map 0 -f null -"), "");
  }
  std::string Clip() const { return folder_ / "clip.mp4"; }

  // The record of ffmpeg's own file of the same stream.
  Bytes Record(const std::string& name, const std::string& box) {
    const std::string other = folder_ / "other.mp4";
    EXPECT_EQ(Shell("ffmpeg -nostdin -v error -y -i " + (folder_ / name) + " -c copy -tag:v " +
                    (box == "hvcC"   ? "hvc1 "
                     : box == "avcC" ? "avc1 "
                                     : "av01 ") +
                    other),
              "");
    return OwnRecord(test::ReadFile(other), box);
  }
  static Bytes OwnRecord(const Bytes& file, const std::string& box) {
    const std::string entry = box == "hvcC" ? "hvc1" : box == "avcC" ? "avc1" : "av01";
    return test::Find(file, "moov/trak/mdia/minf/stbl/stsd/" + entry + "/" + box).body;
  }

  TempFolder folder_;
};

TEST_F(Judge, H264WithSoundChaptersAndWebcam) {
  Mp4Movie movie = MovieOf(Mp4Codec::H264);
  AddFrames(Encode("-f lavfi -i testsrc2=s=320x180:r=30:d=10 -g 30 -c:v libx264 -preset ultrafast "
                   "-bf 0 -threads 1 -x264-params annexb=1:aud=1",
                   "in.h264"),
            movie);
  ASSERT_EQ(movie.packets.size(), 300u);
  const Bytes adts = Encode("-f lavfi -i sine=440:d=8:r=48000 -ac 2 -c:a aac -f adts", "in.adts");
  movie.sound.push_back(SoundOf(adts, kStart - 300 * kMs));
  movie.sound.push_back(SoundOf(adts, kStart + 300 * kMs));
  movie.sound[1].format.voice = true;
  movie.markers = {{kStart + 2500 * kMs, "Marker 1"}, {kStart + 7000 * kMs, "Marker 2"}};
  auto webcam = std::make_shared<Mp4WebcamTrack>();
  static_cast<Mp4VideoTrack&>(*webcam) = movie.video;
  movie.webcam = webcam;
  movie.webcam_packets = movie.packets;
  for (auto& packet : movie.webcam_packets) packet.dts = packet.pts += 1000 * kMs;
  WriteAndDecode(movie);

  EXPECT_EQ(Probe(Clip(), "v:0", "stream=codec_name,width,height,avg_frame_rate,nb_frames"),
            "h264,320,180,30/1,300");
  EXPECT_EQ(Probe(Clip(), "v:0", "format=duration"), "10.000000");
  EXPECT_EQ(Probe(Clip(), "v:0", "stream=start_time,duration"), "0.000000,10.000000");
  EXPECT_EQ(Probe(Clip(), "a:0", "stream=codec_name,sample_rate,channels,start_time"),
            "aac,48000,2,0.000000");
  EXPECT_EQ(Probe(Clip(), "a:1", "stream=start_time"), "0.300000");
  EXPECT_EQ(Probe(Clip(), "v:1", "stream=start_time,nb_frames"), "1.000000,300");
  EXPECT_EQ(Probe(Clip(), "a", "stream_disposition=default"), "1\n0");
  EXPECT_EQ(Shell("ffprobe -v error -of csv=p=0 -show_chapters -show_entries "
                  "chapter=start_time:chapter_tags=title " +
                  Clip()),
            "2.500000,Marker 1\n7.000000,Marker 2");
  // Decoded pictures are those of the stream before it went into the file.
  EXPECT_EQ(Shell("ffmpeg -v error -i " + Clip() + " -map 0:v:0 -f md5 -"),
            Shell("ffmpeg -v error -i " + (folder_ / "in.h264") + " -f md5 -"));
  // Byte for byte: this stream is of a profile without the record's extension.
  EXPECT_EQ(OwnRecord(test::ReadFile(Clip()), "avcC"), Record("in.h264", "avcC"));
}

TEST_F(Judge, HevcWithTenBitsAndHdr) {
  Mp4Movie movie = MovieOf(Mp4Codec::Hevc);
  AddFrames(Encode("-f lavfi -i testsrc2=s=320x180:r=30:d=3 -pix_fmt yuv420p10le -c:v libx265 "
                   "-preset ultrafast -color_primaries bt2020 -color_trc smpte2084 "
                   "-colorspace bt2020nc -x265-params "
                   "bframes=0:keyint=30:log-level=none:pools=1:frame-threads=1:slices=1",
                   "in.hevc"),
            movie);
  movie.video.bit_depth = 1;
  movie.video.primaries = Mp4Primaries::Bt2020;
  movie.video.transfer = Mp4Transfer::Pq;
  movie.video.matrix = Mp4Matrix::Bt2020;
  movie.video.mastering_max_nits = 1000;
  movie.video.mastering_min_nits = 0.01f;
  movie.video.max_cll = 900;
  movie.video.max_fall = 400;
  movie.video.sdr_white_nits = 203;
  ASSERT_EQ(movie.packets.size(), 90u);
  WriteAndDecode(movie);

  EXPECT_EQ(Probe(Clip(), "v",
                  "stream=codec_name,codec_tag_string,pix_fmt,nb_frames,"
                  "color_space,color_transfer,color_primaries"),
            "hevc,hvc1,yuv420p10le,bt2020nc,smpte2084,bt2020,90");
  const std::string side = Shell("ffprobe -v error -show_streams " + Clip());
  for (const char* line : {"red_x=35400/50000", "green_y=39850/50000", "white_point_x=15635/50000",
                           "max_luminance=10000000/10000", "min_luminance=100/10000",
                           "max_content=900", "max_average=400"}) {
    EXPECT_NE(side.find(line), std::string::npos) << line;
  }
  EXPECT_EQ(Shell("ffmpeg -v error -i " + Clip() + " -f md5 -"),
            Shell("ffmpeg -v error -i " + (folder_ / "in.hevc") + " -f md5 -"));
  const Bytes own = OwnRecord(test::ReadFile(Clip()), "hvcC");
  const Bytes other = Record("in.hevc", "hvcC");
  EXPECT_EQ(Bytes(own.begin(), own.begin() + 13), Bytes(other.begin(), other.begin() + 13));
  EXPECT_EQ(Bytes(own.begin() + 16, own.begin() + 19),
            Bytes(other.begin() + 16, other.begin() + 19));
}

TEST_F(Judge, Av1) {
  for (const char* encoder :
       {"libsvtav1 -preset 12 -pix_fmt yuv420p10le", "libaom-av1 -cpu-used 8 -usage realtime"}) {
    Mp4Movie movie = MovieOf(Mp4Codec::Av1);
    const std::string source = "-f lavfi -i testsrc2=s=320x180:r=30:d=2 -g 30 -c:v ";
    const std::string path = folder_ / "in.obu";
    (void)Shell("ffmpeg -nostdin -v error -y " + source + encoder + " " + path);  // talks always
    test::AddTemporalUnits(test::ReadFile(path), movie);
    const bool ten_bit = std::string(encoder).find("10le") != std::string::npos;
    movie.video.bit_depth = ten_bit ? 1 : 0;
    ASSERT_EQ(movie.packets.size(), 60u) << encoder;
    WriteAndDecode(movie);
    EXPECT_EQ(Probe(Clip(), "v", "stream=codec_name,pix_fmt,nb_frames,duration"),
              std::string("av1,") + (ten_bit ? "yuv420p10le" : "yuv420p") + ",2.000000,60");
    const Bytes own = OwnRecord(test::ReadFile(Clip()), "av1C");
    const Bytes other = Record("in.obu", "av1C");
    // The chroma sample position, in the last two bits of byte 2, is left open.
    EXPECT_EQ(own[1], other[1]) << encoder;
    EXPECT_EQ(own[2] & 0xFC, other[2] & 0xFC) << encoder;
  }
}

}  // namespace
}  // namespace orventa
