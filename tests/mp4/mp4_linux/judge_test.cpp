// Clips made of what real encoders gave, held against ffprobe and ffmpeg.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

#include "mp4/annexb.h"
#include "mp4/mp4.h"
#include "tests/fakes/temp_folder.h"
#include "tests/mp4/box_walker.h"
#include "tests/mp4/clip_fixture.h"

namespace orventa {
namespace {

using test::kMs;
using test::kStart;
using Bytes = std::vector<uint8_t>;

constexpr const char* kTenSeconds = "-f lavfi -i testsrc2=s=320x180:r=30:d=10 -g 30 ";

// What a shell command prints, errors too.
std::string Shell(const std::string& command) {
  const std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen((command + " 2>&1").c_str(), "r"), pclose);
  if (pipe == nullptr) throw std::runtime_error("cannot run " + command);
  std::string text;
  char piece[4096];
  while (const size_t read = fread(piece, 1, sizeof(piece), pipe.get())) text.append(piece, read);
  while (!text.empty() && text.back() == '\n') text.pop_back();
  return text;
}

std::string Probe(const std::string& file, const std::string& stream, const std::string& entries) {
  std::string text = Shell("ffprobe -v error -of csv=p=0 -select_streams " + stream +
                           " -show_entries " + entries + " " + file);
  if (text.ends_with(',')) text.pop_back();  // a section that has no entries asked for
  return text;
}

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

// A frame of 30 a second.
BufferedPacket Frame(Bytes bytes, size_t index, bool key) {
  return test::Packet(std::move(bytes), kStart + index * 1000 * kMs / 30, key);
}

// Cuts an Annex B stream into frames: each ends with its one slice.
void AddFrames(const Bytes& stream, Mp4Movie& movie) {
  Bytes frame;
  AnnexBUnits units(stream);
  for (std::span<const uint8_t> unit; units.Next(unit);) {
    frame.insert(frame.end(), {0, 0, 0, 1});
    frame.insert(frame.end(), unit.begin(), unit.end());
    const bool hevc = movie.video.codec == Mp4Codec::Hevc;
    const uint32_t type = hevc ? HevcUnitType(unit) : H264UnitType(unit);
    const bool parameter_set = hevc ? type >= 32 && type <= 34 : type == 7 || type == 8;
    if (parameter_set && movie.packets.empty()) movie.video.sequence_header = frame;
    const bool slice = hevc ? type < 32 : type == 1 || type == 5;
    if (!slice) continue;
    const bool key = hevc ? type >= 16 : type == 5;
    movie.packets.push_back(Frame(std::move(frame), movie.packets.size(), key));
    frame.clear();
  }
}

uint64_t Leb128(const Bytes& bytes, size_t& at) {
  uint64_t value = 0;
  for (uint32_t shift = 0;; shift += 7) {
    const uint8_t byte = bytes.at(at++);
    value |= static_cast<uint64_t>(byte & 0x7F) << shift;
    if (byte < 0x80) return value;
  }
}

// Cuts an AV1 stream into temporal units, and leaves out the delimiters.
void AddTemporalUnits(const Bytes& stream, Mp4Movie& movie) {
  Bytes unit;
  bool key = false;
  const auto close = [&] {
    if (!unit.empty()) movie.packets.push_back(Frame(unit, movie.packets.size(), key));
    unit.clear();
    key = false;
  };
  for (size_t at = 0; at < stream.size();) {
    const size_t start = at;
    const uint32_t type = (stream[at++] >> 3) & 15u;
    const uint64_t size = Leb128(stream, at);
    at += size;
    const Bytes obu(stream.begin() + static_cast<std::ptrdiff_t>(start),
                    stream.begin() + static_cast<std::ptrdiff_t>(at));
    if (type == 2) {
      close();
      continue;
    }
    if (type == 1) {
      key = true;
      if (movie.video.sequence_header.empty()) movie.video.sequence_header = obu;
    }
    unit.insert(unit.end(), obu.begin(), obu.end());
  }
  close();
}

// AAC frames without their ADTS headers, one every 1024 samples of 48 kHz.
Mp4SoundTrack SoundOf(const Bytes& adts, uint64_t first_pts_ns) {
  Mp4SoundTrack sound = test::Sound(0, 0);
  for (size_t at = 0; at < adts.size();) {
    const size_t size =
        (adts[at + 3] & 3u) << 11 | static_cast<size_t>(adts[at + 4]) << 3 | adts[at + 5] >> 5;
    const uint64_t pts = first_pts_ns + sound.packets.size() * 1024 * 1000 * kMs / 48000;
    sound.packets.push_back(test::Packet({adts.begin() + static_cast<std::ptrdiff_t>(at + 7),
                                          adts.begin() + static_cast<std::ptrdiff_t>(at + size)},
                                         pts));
    at += size;
  }
  return sound;
}

Mp4Movie MovieOf(Mp4Codec codec) {
  Mp4Movie movie;
  movie.video.codec = codec;
  movie.video.width = 320;
  movie.video.height = 180;
  movie.video.fps_num = 30;
  return movie;
}

TEST_F(Judge, H264WithSoundChaptersAndWebcam) {
  Mp4Movie movie = MovieOf(Mp4Codec::H264);
  AddFrames(Encode(std::string(kTenSeconds) + "-c:v libx264 -preset ultrafast -bf 0 -threads 1",
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
    AddTemporalUnits(test::ReadFile(path), movie);
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

// Copied from the clip by somebody else's tables, the packets are the same.
TEST_F(Judge, CopiesOutAsItWentIn) {
  Mp4Movie movie = MovieOf(Mp4Codec::H264);
  AddFrames(Encode(std::string(kTenSeconds) + "-c:v libx264 -preset ultrafast -bf 0 -threads 1 "
                                              "-x264-params annexb=1:aud=1",
                   "in.h264"),
            movie);
  WriteAndDecode(movie);
  const std::string hash =
      " -map 0:v -c copy -bsf:v h264_mp4toannexb,filter_units=remove_types=7-9 "
      "-f streamhash -hash md5 -";
  EXPECT_EQ(Shell("ffmpeg -v error -i " + Clip() + hash),
            Shell("ffmpeg -v error -i " + (folder_ / "in.h264") + hash));
}

}  // namespace
}  // namespace orventa
