#include "mp4/moov.h"

#include <gtest/gtest.h>

#include <string>

#include "mp4/box_io.h"
#include "tests/mp4/box_walker.h"
#include "tests/mp4/clip_fixture.h"

namespace orventa {
namespace {

using test::Box;
using test::Find;
using test::Has;
using test::Hex;
using test::Types;
using Bytes = std::vector<uint8_t>;

// One track of each kind, of which a test uses what it needs.
struct Tracks {
  Tracks() {
    video.width = 1280;
    video.height = 720;
    video_table.timescale = 90000;
    sound.config = Hex("1190");
    voice = sound;
    voice.voice = true;
    sound_table.timescale = voice_table.timescale = 48000;
    webcam = test::Webcam();
    parts.video = &video;
    parts.configuration = &configuration;
    parts.video_table = &video_table;
  }

  static void Fill(TrackTable& table, size_t samples, uint32_t ticks) {
    for (size_t i = 0; i < samples; ++i) table.AddSample(100, ticks, false);
    table.CutIntoChunks();
  }
  void AddSound(uint64_t cut, uint64_t delay_ns) {
    parts.sound.push_back({&sound, &sound_table, cut, delay_ns});
  }
  void AddWebcam(uint64_t cut, uint64_t delay_ns) {
    parts.webcam =
        WebcamEntry{&webcam, &webcam.placement, &configuration, &webcam_table, cut, delay_ns};
  }
  Bytes Build() {
    Bytes out;
    result = BuildMoov(parts, out);
    return out;
  }

  Mp4VideoTrack video;
  Mp4AudioTrack sound, voice;
  Mp4WebcamTrack webcam;
  VideoConfiguration configuration{FourCc("avc1"), FourCc("avcC"), {1, 2, 3}};
  TrackTable video_table, sound_table, voice_table, webcam_table;
  MoovParts parts;
  MoovResult result;
};

TEST(Moov, OneTrackByteForByte) {
  Tracks t;
  t.video_table.AddSample(0x55, 1500, true);
  t.video_table.AddSample(0x66, 1500, false);
  t.video_table.AddSample(0x77, 1501, false);
  t.video_table.CutIntoChunks();
  const Bytes moov = t.Build();
  const Bytes expected =
      Hex("00000281 6D6F6F76"
          "0000006C 6D766864 00000000 00000000 00000000 00015F90 00001195 00010000 0100"
          "00000000000000000000"
          "00010000 00000000 00000000 00000000 00010000 00000000 00000000 00000000 40000000"
          "000000000000000000000000000000000000000000000000 00000002"
          "0000020D 7472616B"
          "0000005C 746B6864 00000007 00000000 00000000 00000001 00000000 00001195"
          "0000000000000000 0000 0000 0000 0000"
          "00010000 00000000 00000000 00000000 00010000 00000000 00000000 00000000 40000000"
          "05000000 02D00000"
          "000001A9 6D646961"
          "00000020 6D646864 00000000 00000000 00000000 00015F90 00001195 55C4 0000"
          "0000002D 68646C72 00000000 00000000 76696465 000000000000000000000000"
          "566964656F48616E646C6572 00"
          "00000154 6D696E66"
          "00000014 766D6864 00000001 0000000000000000"
          "00000024 64696E66 0000001C 64726566 00000000 00000001 0000000C 75726C20 00000001"
          "00000114 7374626C"
          "00000084 73747364 00000000 00000001"
          "00000074 61766331 000000000000 0001 00000000000000000000000000000000"
          "0500 02D0 00480000 00480000 00000000 0001"
          "0000000000000000000000000000000000000000000000000000000000000000 0018 FFFF"
          "0000000B 61766343 010203"
          "00000013 636F6C72 6E636C78 0001 0001 0001 00"
          "00000020 73747473 00000000 00000002 00000002 000005DC 00000001 000005DD"
          "00000014 73747373 00000000 00000001 00000001"
          "0000001C 73747363 00000000 00000001 00000001 00000003 00000001"
          "00000020 7374737A 00000000 00000000 00000003 00000055 00000066 00000077"
          "00000018 636F3634 00000000 00000001 0000000000000000");
  EXPECT_EQ(moov, expected);
  EXPECT_EQ(t.video_table.chunks[0].co64_position, moov.size() - 8);
}

TEST(Moov, HdrBoxesFollowWhatIsKnown) {
  const struct {
    const char* what;
    Mp4Transfer transfer;
    float max_nits, white_nits, red_x;
    uint16_t max_cll;
    const char* children;
  } kCases[] = {
      {"SDR with everything known", Mp4Transfer::Sdr, 1000, 203, 0.7f, 900, "avcC colr"},
      {"HDR with nothing known", Mp4Transfer::Pq, 0, 0, 0, 0, "avcC colr"},
      {"HDR with everything", Mp4Transfer::Hlg, 1000, 203, 0.7f, 900, "avcC colr mdcv clli uuid"},
      {"only light levels", Mp4Transfer::Pq, 0, 0, 0.7f, 900, "avcC colr clli"},
      {"only the display", Mp4Transfer::Pq, 600, 0, 0, 0, "avcC colr mdcv"},
  };
  for (const auto& c : kCases) {
    Tracks t;
    Tracks::Fill(t.video_table, 1, 1500);
    t.video.transfer = c.transfer;
    t.video.mastering_max_nits = c.max_nits;
    t.video.sdr_white_nits = c.white_nits;
    t.video.max_cll = c.max_cll;
    t.video.chromaticity[0] = c.red_x;
    const Box entry = Find(t.Build(), "moov/trak/mdia/minf/stbl/stsd/avc1");
    EXPECT_EQ(Types(test::Children(entry, 78)), c.children) << c.what;
  }
}

TEST(Moov, HdrValues) {
  Tracks t;
  Tracks::Fill(t.video_table, 1, 1500);
  t.video.primaries = Mp4Primaries::Bt2020;
  t.video.matrix = Mp4Matrix::Bt2020;
  t.video.transfer = Mp4Transfer::Pq;
  t.video.full_range = true;
  t.video.mastering_max_nits = 1499.5f;
  t.video.mastering_min_nits = 0.005f;
  t.video.max_cll = 1400;
  t.video.max_fall = 300;
  const std::string avc1 = "moov/trak/mdia/minf/stbl/stsd/avc1/";
  const float display[] = {0.68f, 0.32f, 0.265f, 0.69f, 0.15f, 0.06f, 0.3127f, 0.329f};
  std::copy(std::begin(display), std::end(display), t.video.chromaticity);
  Bytes moov = t.Build();
  EXPECT_EQ(Find(moov, avc1 + "colr").body, Hex("6E636C78 0009 0010 0009 80"));
  EXPECT_EQ(Find(moov, avc1 + "clli").body, Hex("0578 012C"));
  // green 13250 34500, blue 7500 3000, red 34000 16000, white 15635 16450
  EXPECT_EQ(Find(moov, avc1 + "mdcv").body,
            Hex("33C2 86C4 1D4C 0BB8 84D0 3E80 3D13 4042 00E4CE38 00000032"));

  t.video.chromaticity[6] = 1.0f;  // one value that is no chromaticity spoils all eight
  moov = t.Build();
  EXPECT_EQ(Find(moov, avc1 + "mdcv").body,
            Hex("2134 9BAA 1996 08FC 8A48 3908 3D13 4042 00E4CE38 00000032"));
}

TEST(Moov, TracksAreNumberedAndFlagged) {
  Tracks t;
  Tracks::Fill(t.video_table, 120, 1500);
  Tracks::Fill(t.sound_table, 90, 1024);
  Tracks::Fill(t.voice_table, 90, 1024);
  Tracks::Fill(t.webcam_table, 60, 3000);
  TrackTable empty;
  t.AddSound(0, 0);
  t.parts.sound.push_back({&t.sound, &empty, 0, 0});
  t.parts.sound.push_back({&t.voice, &t.voice_table, 0, 0});
  t.AddWebcam(0, 0);
  const Bytes moov = t.Build();
  EXPECT_EQ(Types(test::Children(Find(moov, "moov"))), "mvhd trak trak trak trak udta");
  EXPECT_EQ(Find(moov, "moov/mvhd").U32(96), 5u);
  const struct {
    uint32_t flags, volume, group;
    const char* handler;
    const char* name;
    const char* media;
  } kTracks[] = {{7, 0, 0, "vide", "VideoHandler", "vmhd dinf stbl"},
                 {7, 0x100, 1, "soun", "SoundHandler", "smhd dinf stbl"},
                 {6, 0x100, 1, "soun", "ORVENTA Voice", "smhd dinf stbl"},
                 {6, 0, 0, "vide", "Webcam", "vmhd dinf stbl"}};
  for (uint32_t i = 0; i < 4; ++i) {
    const auto& expected = kTracks[i];
    const std::string trak = "moov/trak[" + std::to_string(i) + "]/";
    const Box tkhd = Find(moov, trak + "tkhd");
    EXPECT_EQ(tkhd.U32(0), expected.flags) << i;
    EXPECT_EQ(tkhd.U32(12), i + 1);
    EXPECT_EQ(tkhd.U16(34), expected.group) << i;
    EXPECT_EQ(tkhd.U16(36), expected.volume) << i;
    const Box hdlr = Find(moov, trak + "mdia/hdlr");
    EXPECT_EQ(hdlr.Text(8, 4), expected.handler);
    EXPECT_EQ(hdlr.Text(24, hdlr.body.size() - 25), expected.name);
    EXPECT_EQ(hdlr.body.back(), 0);
    EXPECT_EQ(Types(test::Children(Find(moov, trak + "mdia/minf"))), expected.media);
  }
}

TEST(Moov, SoundEntryByteForByte) {
  Tracks t;
  Tracks::Fill(t.video_table, 60, 1500);
  Tracks::Fill(t.sound_table, 47, 1024);
  t.AddSound(0, 0);
  const Bytes moov = t.Build();
  EXPECT_EQ(Find(moov, "moov/trak[1]/mdia/minf/stbl/stsd").body,
            Hex("00000000 00000001"
                "0000004B 6D703461 000000000000 0001 0000000000000000 0002 0010 00000000"
                "BB80 0000"
                "00000027 65736473 00000000"
                "03 19 0001 00"
                "04 11 40 15 000000 00027100 00027100"
                "05 02 1190"
                "06 01 02"));
  EXPECT_FALSE(Has(moov, "moov/trak[1]/mdia/minf/stbl/stss"));
  EXPECT_FALSE(Has(moov, "moov/trak[1]/edts"));
  EXPECT_FALSE(Has(moov, "moov/udta"));
}

TEST(Moov, WebcamStaysWithinTheVideo) {
  const struct {
    const char* what;
    uint64_t cut, delay_ns;
    const char* elst;  // null: the track is left out
  } kCases[] = {
      {"as long as the video, which it outlasts", 0, 0,
       "00000000 00000001 00015F90 00000000 00010000"},
      {"early", 90000, 0, "00000000 00000001 00015F90 00015F90 00010000"},
      {"half a second late", 0, 500'000'000,
       "00000000 00000002 0000AFC8 FFFFFFFF 00010000 0000AFC8 00000000 00010000"},
      {"ends before the video", 225000, 0, "00000000 00000001 0000AFC8 00036EE8 00010000"},
      {"begins when the video ends", 0, 1'000'000'000, nullptr},
      {"ends when the video begins", 270000, 0, nullptr},
  };
  for (const auto& c : kCases) {
    Tracks t;
    Tracks::Fill(t.video_table, 60, 1500);
    Tracks::Fill(t.webcam_table, 90, 3000);
    t.AddWebcam(c.cut, c.delay_ns);
    const Bytes moov = t.Build();
    EXPECT_EQ(t.result.has_webcam, c.elst != nullptr) << c.what;
    EXPECT_EQ(Has(moov, "moov/udta/uuid"), c.elst != nullptr) << c.what;
    EXPECT_EQ(Find(moov, "moov/mvhd").U32(16), 90000u) << c.what;
    EXPECT_EQ(Find(moov, "moov/mvhd").U32(96), c.elst != nullptr ? 3u : 2u) << c.what;
    if (c.elst != nullptr) {
      EXPECT_EQ(Find(moov, "moov/trak[1]/edts/elst").body, Hex(c.elst)) << c.what;
    }
  }
}

TEST(Moov, LongMoviesUse64BitsWhereThereIsAChoice) {
  const struct {
    const char* what;
    uint32_t video_ticks, sound_ticks;  // of two samples each
    uint8_t version;
  } kCases[] = {{"the longest of version 0", 0x7FFFFFFF, 1024, 0},
                {"a video of 13 hours and more", 0x80000000, 1024, 1},
                {"only the sound's own timescale runs over", 1500, 0x80000000, 1}};
  for (const auto& c : kCases) {
    Tracks t;
    Tracks::Fill(t.video_table, 2, c.video_ticks);
    // Ticks of the sound at 96 kHz are more than those of the movie.
    t.sound_table.timescale = 96000;
    Tracks::Fill(t.sound_table, 2, c.sound_ticks);
    t.AddSound(0, 0);
    t.parts.sound[0].delay_ns = 1'000'000;
    const Bytes moov = t.Build();
    for (const char* path : {"mvhd", "trak/tkhd", "trak/mdia/mdhd", "trak[1]/tkhd",
                             "trak[1]/edts/elst", "trak[1]/mdia/mdhd"}) {
      EXPECT_EQ(Find(moov, std::string("moov/") + path).U8(0), c.version) << path << c.what;
    }
    for (const char* path : {"hdlr", "minf/stbl/stts", "minf/stbl/co64", "minf/stbl/stsd"}) {
      EXPECT_EQ(Find(moov, std::string("moov/trak/mdia/") + path).U8(0), 0) << path;
    }
    if (c.version == 0) continue;
    EXPECT_EQ(Find(moov, "moov/trak/mdia/mdhd").U64(24), uint64_t{c.video_ticks} * 2);
    EXPECT_EQ(Find(moov, "moov/trak[1]/edts/elst").U64(8), 90u);
    EXPECT_EQ(Find(moov, "moov/trak[1]/edts/elst").U64(16), UINT64_MAX) << "-1 in 64 bits";
  }
}

TEST(Moov, FirstOfARecordingAnnouncesFragments) {
  Tracks t;
  t.parts.kind = MoovKind::FirstOfRecording;
  const Bytes moov = t.Build();
  EXPECT_EQ(Types(test::Children(Find(moov, "moov"))), "mvhd trak mvex");
  EXPECT_EQ(Find(moov, "moov/mvex").body,
            Hex("00000020 74726578 00000000 00000001 00000001 00000000 00000000 00000000"));
  EXPECT_EQ(Types(test::Children(Find(moov, "moov/trak/mdia/minf/stbl"))),
            "stsd stts stsc stsz co64");
  EXPECT_TRUE(test::Samples(moov, "moov/trak").empty());
}

TEST(Moov, ChaptersAreSortedCutAndCounted) {
  Tracks t;
  Tracks::Fill(t.video_table, 1, 1500);
  t.parts.clip_start_ns = 1000;
  t.parts.clip_end_ns = 60'000'001'000;
  const std::vector<Mp4Marker> few = {{60'000'001'001, "after the end"},
                                      {60'000'001'000, "last"},
                                      {500, "before"},
                                      {1000, std::string(254, 'x') + "\xC3\xA4"}};
  t.parts.markers = few;
  const Box chpl = Find(t.Build(), "moov/udta/chpl");
  EXPECT_EQ(chpl.U32(0), 0x01000000u);
  EXPECT_EQ(chpl.U32(4), 0u);
  EXPECT_EQ(chpl.U8(8), 3u);
  EXPECT_EQ(chpl.U64(9), 0u);
  EXPECT_EQ(chpl.Text(18, 6), "before");
  EXPECT_EQ(chpl.U8(32), 254u) << "a character is not cut in two";
  EXPECT_EQ(chpl.U64(33 + 254), 600'000'000u);
  EXPECT_EQ(chpl.Text(33 + 254 + 9, 4), "last");

  std::vector<Mp4Marker> many(256, {2000, "m"});
  many.back().time_ns = 1000;
  t.parts.markers = many;
  const Box full = Find(t.Build(), "moov/udta/chpl");
  EXPECT_EQ(full.U8(8), 255u);
  EXPECT_EQ(full.U64(9), 0u) << "sorted before they are counted";
  EXPECT_EQ(full.body.size(), 9u + 255 * 10);
}

TEST(Moov, EventsSayWhoOnlyWhenSomebodyKnows) {
  Tracks t;
  Tracks::Fill(t.video_table, 1, 1500);
  t.parts.clip_start_ns = 1'000'000'000;
  t.parts.clip_end_ns = 9'000'000'000;
  std::vector<Mp4GameEvent> events(2);
  events[0] = {2'999'999'999, "kill", 7, "headshot", 0, ""};
  events[1] = {500, "start", 0, "", 0, ""};
  t.parts.events = events;
  const std::string common =
      "4F5256454E544100 4556454E54530001 01 0002"
      "00000000 00 05 7374617274 00"
      "000007CF 07 04 6B696C6C 08 6865616473686F74";
  EXPECT_EQ(Find(t.Build(), "moov/udta/uuid").body, Hex(common));
  events[0].side = 2;
  EXPECT_EQ(Find(t.Build(), "moov/udta/uuid").body, Hex(common + "73696465 00 02"));
  events[1].whom = "Bo";
  EXPECT_EQ(Find(t.Build(), "moov/udta/uuid").body,
            Hex(common + "73696465 00 02 77686F6D 02426F 00"));

  events.assign(65536, {2'000'000'000, "e", 1, "", 0, ""});
  t.parts.events = events;
  EXPECT_EQ(Find(t.Build(), "moov/udta/uuid").U16(17), 65535u);
}

TEST(Moov, UserDataInItsOrder) {
  Tracks t;
  Tracks::Fill(t.video_table, 60, 1500);
  Tracks::Fill(t.webcam_table, 30, 3000);
  t.webcam.placement.flip_vertical = true;
  t.webcam.placement.crop_x = 0.125f;
  t.webcam.placement.crop_width = 0.5f;
  t.webcam.placement.shape = 2;
  t.webcam.placement.border = 7;
  t.webcam.placement.border_color = 0xFF102030;
  t.AddWebcam(0, 0);
  const std::vector<Mp4Marker> markers = {{0, "m"}};
  const std::vector<Mp4GameEvent> events = {{0, "e", 1, "", 0, ""}};
  const Mp4Presses presses{3, {0xAA, 0xBB}};
  t.parts.markers = markers;
  t.parts.events = events;
  t.parts.presses = &presses;
  t.parts.captions = "hello";
  const Bytes moov = t.Build();
  EXPECT_EQ(Types(test::Children(Find(moov, "moov/udta"))), "chpl uuid uuid uuid uuid");
  EXPECT_EQ(Find(moov, "moov/udta/uuid[1]").body,
            Hex("4F5256454E544100 57454243414D0001 01 00000002"
                "000B71B0 0007A120 0003D090 0001E848 02"
                "0001E848 00000000 0007A120 000F4240 02 00000000 000F4240 00102030"));
  EXPECT_EQ(Find(moov, "moov/udta/uuid[2]").body,
            Hex("4F5256454E544100 494E505554530001 01 03 AABB"));
  EXPECT_EQ(Find(moov, "moov/udta/uuid[3]").body,
            Hex("4F5256454E544100 43415054 4E530001 01 68656C6C6F"));
}

TEST(Ftyp, NamesTheCodec) {
  Bytes out;
  BuildFtyp(FourCc("hvc1"), out);
  EXPECT_EQ(out, Hex("00000020 66747970 69736F6D 00000200 69736F6D 69736F32 68766331 6D703431"));
}

}  // namespace
}  // namespace orventa
