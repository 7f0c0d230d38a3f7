#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>

#include "mp4/mp4.h"
#include "tests/fakes/temp_folder.h"
#include "tests/mp4/box_walker.h"
#include "tests/mp4/clip_fixture.h"

namespace orventa {
namespace {

using test::Box;
using test::Find;
using test::Has;
using test::Hex;
using test::kMs;
using test::kStart;
using test::Packet;
using test::Sample;
using test::Types;
using test::VideoMovie;
using Bytes = std::vector<uint8_t>;

class Clip : public testing::Test {
 protected:
  // The file's bytes; empty after a failure.
  Bytes Write(const Mp4Movie& movie) {
    status_ = WriteMp4(Path(), movie);
    return status_.ok() ? test::ReadFile(Path()) : Bytes{};
  }
  // Expects a failure that leaves no file.
  void ExpectRefused(const Mp4Movie& movie, const Status& expected) {
    EXPECT_EQ(WriteMp4(Path(), movie), expected);
    EXPECT_FALSE(std::filesystem::exists(Path())) << expected.message();
  }
  std::string Path() const { return folder_ / "clip.mp4"; }

  static Bytes At(const Bytes& file, const Sample& sample) {
    const auto first = file.begin() + static_cast<std::ptrdiff_t>(sample.offset);
    return {first, first + sample.size};
  }
  static std::vector<uint32_t> Durations(const Bytes& file, const std::string& trak) {
    std::vector<uint32_t> durations;
    for (const Sample& sample : test::Samples(file, trak)) durations.push_back(sample.duration);
    return durations;
  }

  TempFolder folder_;
  Status status_;
};

TEST_F(Clip, ReadsBackByItsTables) {
  Mp4Movie movie = VideoMovie(150);
  movie.sound.push_back(test::Sound(kStart - 5 * kMs, 118));
  movie.sound.push_back(test::Sound(kStart + 300 * kMs, 40));
  movie.sound[1].format.voice = true;
  movie.webcam = std::make_shared<Mp4WebcamTrack>(test::Webcam());
  for (uint32_t i = 0; i < 75; ++i) {
    movie.webcam_packets.push_back(
        Packet(test::Slice(40, 1000 + i, i == 0), kStart + i * 1000 * kMs / 30, i == 0));
  }
  const Bytes file = Write(movie);
  ASSERT_TRUE(status_.ok()) << status_.ToString();
  EXPECT_EQ(Types(test::Boxes(file)), "ftyp moov mdat");
  const Box mdat = Find(file, "mdat");
  EXPECT_EQ(mdat.header_bytes, 16u);

  // Every byte of the media belongs to exactly one sample.
  std::vector<bool> taken(file.size(), false);
  uint64_t media_bytes = 0;
  const auto take = [&](const Sample& sample) {
    for (uint64_t at = sample.offset; at < sample.offset + sample.size; ++at) {
      ASSERT_FALSE(taken.at(at));
      taken[at] = true;
    }
    media_bytes += sample.size;
  };
  const std::vector<BufferedPacket>* kPackets[] = {&movie.packets, &movie.sound[0].packets,
                                                   &movie.sound[1].packets, &movie.webcam_packets};
  for (size_t track = 0; track < 4; ++track) {
    const auto samples = test::Samples(file, "moov/trak[" + std::to_string(track) + "]");
    ASSERT_EQ(samples.size(), kPackets[track]->size()) << track;
    for (size_t i = 0; i < samples.size(); ++i) {
      const auto payload = (*kPackets[track])[i].payload.bytes();
      Bytes expected(payload.begin(), payload.end());
      const bool picture = track == 0 || track == 3;
      if (picture) expected = test::LengthPrefixed(expected);
      ASSERT_EQ(At(file, samples[i]), expected) << track << " sample " << i;
      if (picture) {
        EXPECT_EQ(samples[i].sync, (*kPackets[track])[i].keyframe);
      }
      take(samples[i]);
    }
  }
  EXPECT_EQ(media_bytes, mdat.body.size());

  // Chunks of a second, one of each track in turn: 60 frames of video, 47 of
  // sound, 30 of the webcam. The second sound track has a single chunk.
  std::vector<std::pair<uint64_t, size_t>> chunks;
  const std::vector<size_t> kChunks = {3, 3, 1, 3};
  for (size_t track = 0; track < 4; ++track) {
    const Box co64 = Find(file, "moov/trak[" + std::to_string(track) + "]/mdia/minf/stbl/co64");
    EXPECT_EQ(co64.U32(4), kChunks[track]) << track;
    for (uint32_t i = 0; i < co64.U32(4); ++i) chunks.emplace_back(co64.U64(8 + 8 * i), track);
  }
  std::sort(chunks.begin(), chunks.end());
  std::string order;
  for (const auto& chunk : chunks) order += std::to_string(chunk.second);
  EXPECT_EQ(order, "0123013013");
}

TEST_F(Clip, OneFrameLastsOnePeriod) {
  Mp4Movie movie = VideoMovie(1, 60000, 1001);
  movie.packets[0].payload = Payload::Copy(Hex("000001 09F0 000001 06AA 00000001 65BBCC"));
  const Bytes file = Write(movie);
  ASSERT_TRUE(status_.ok()) << status_.ToString();
  EXPECT_EQ(Durations(file, "moov/trak"), std::vector<uint32_t>{2002});
  EXPECT_EQ(Find(file, "moov/trak/mdia/mdhd").U32(12), 120000u);
  EXPECT_EQ(Find(file, "mdat").body, Hex("00000002 06AA 00000003 65BBCC"));
}

TEST_F(Clip, DurationsFollowTheTimes) {
  Mp4Movie movie = VideoMovie(5);
  const uint64_t kTimes[] = {0, 100 * kMs, 100 * kMs, 400 * kMs, 500 * kMs};
  for (size_t i = 0; i < 5; ++i) movie.packets[i].pts = movie.packets[i].dts = kStart + kTimes[i];
  EXPECT_EQ(Durations(Write(movie), "moov/trak"),
            (std::vector<uint32_t>{9000, 1, 27000, 9000, 1500}));

  // A packet that holds only parameter sets is no sample; its time goes to the
  // one before it.
  movie.packets[3].payload = Payload::Copy(Hex("00000001 6764001F 00000001 68EE"));
  movie.video.fps_num = 0;
  EXPECT_EQ(Durations(Write(movie), "moov/trak"), (std::vector<uint32_t>{9000, 1, 36000, 1500}));
}

TEST_F(Clip, LengthPrefixedAndAv1PacketsAreCopied) {
  Mp4Movie movie = VideoMovie(2);
  movie.video.length_prefixed = true;
  movie.packets[0].payload = Payload::Copy(Hex("00000002 65AA"));
  movie.packets[1].payload = Payload::Copy(Hex("00000001 01 000001"));
  EXPECT_EQ(Find(Write(movie), "mdat").body, Hex("00000002 65AA 00000001 01 000001"));

  movie.video.length_prefixed = false;
  movie.video.codec = Mp4Codec::Av1;
  movie.video.sequence_header = Hex("0A0B000000043CFECCFBF94040");
  EXPECT_EQ(Find(Write(movie), "mdat").body, Hex("00000002 65AA 00000001 01 000001"));
}

TEST_F(Clip, RefusesWithTheseWords) {
  const struct {
    void (*spoil)(Mp4Movie& movie);
    const char* words;
  } kCases[] = {
      {[](Mp4Movie& movie) { movie.packets.clear(); }, "no video packets to write"},
      {[](Mp4Movie& movie) { movie.video.height = 0; }, "zero track dimensions"},
      {[](Mp4Movie& movie) { movie.video.sequence_header.clear(); },
       "sequence header contains no SPS/PPS -- cannot build avcC"},
      {[](Mp4Movie& movie) { movie.packets[2].dts -= 1; },
       "video with reordered frames (dts != pts) is not supported"},
      {[](Mp4Movie& movie) {
         for (auto& packet : movie.packets) packet.payload = Payload::Copy(Hex("000001 09F0"));
       },
       "no decodable video samples"},
      {[](Mp4Movie& movie) {
         movie.sound.push_back(test::Sound(kStart, 3));
         movie.sound[0].format.config.resize(105);
       },
       "AudioSpecificConfig too long"},
  };
  const Mp4Movie good = VideoMovie(3);
  for (const auto& c : kCases) {
    Mp4Movie movie = good;
    c.spoil(movie);
    ExpectRefused(movie, {StatusCode::InvalidArgument, c.words});
  }
  const std::string nowhere = folder_ / "missing/clip.mp4";
  EXPECT_EQ(WriteMp4(nowhere, good),
            Status(StatusCode::InvalidArgument, "cannot open '" + nowhere + "'"));
}

TEST_F(Clip, SoundStartsWithTheVideo) {
  const struct {
    const char* what;
    int64_t offset_ms;
    size_t samples;
    uint32_t track_duration, movie_duration;
    const char* elst;  // null: none
  } kCases[] = {
      // 47 frames of 1024 at 48 kHz are 90240 ticks at 90 kHz
      {"at once", 0, 47, 90240, 90240, nullptr},
      {"300 ms late", 300, 47, 117240, 117240,
       "00000000 00000002 00006978 FFFFFFFF 00010000 00016080 00000000 00010000"},
      // 14 whole frames of 21.3 ms have ended by 300 ms; the one at 298.7 ms is cut by
      // 64 samples.
      {"300 ms early", -300, 33, 63240, 90000, "00000000 00000001 0000F708 00000040 00010000"},
  };
  for (const auto& c : kCases) {
    Mp4Movie movie = VideoMovie(60);
    movie.sound.push_back(test::Sound(
        static_cast<uint64_t>(static_cast<int64_t>(kStart) + c.offset_ms * 1'000'000), 47));
    const Bytes file = Write(movie);
    EXPECT_EQ(test::Samples(file, "moov/trak[1]").size(), c.samples) << c.what;
    EXPECT_EQ(Find(file, "moov/trak[1]/tkhd").U32(20), c.track_duration) << c.what;
    EXPECT_EQ(Find(file, "moov/trak[1]/mdia/mdhd").U32(16), c.samples * 1024) << "all the same";
    EXPECT_EQ(Find(file, "moov/mvhd").U32(16), c.movie_duration) << c.what;
    ASSERT_EQ(Has(file, "moov/trak[1]/edts"), c.elst != nullptr) << c.what;
    if (c.elst != nullptr) {
      EXPECT_EQ(Find(file, "moov/trak[1]/edts/elst").body, Hex(c.elst)) << c.what;
    }
  }
}

TEST_F(Clip, SoundPacketsThatOverlapOrHoldNothingAreLeftOut) {
  Mp4Movie movie = VideoMovie(60);
  Mp4SoundTrack sound = test::Sound(kStart, 6);
  sound.packets[1].payload = Payload::Copy({});
  sound.packets[3].pts = sound.packets[4].pts - 10 * kMs;  // half a frame is 10.67 ms
  sound.packets[5].pts += 500 * kMs;                       // a gap, which takes no time
  movie.sound.push_back(sound);
  const Bytes file = Write(movie);
  const auto samples = test::Samples(file, "moov/trak[1]");
  ASSERT_EQ(samples.size(), 4u);
  const uint8_t kKept[] = {0, 2, 4, 5};
  for (size_t i = 0; i < 4; ++i) {
    EXPECT_EQ(At(file, samples[i])[0], kKept[i]);
    EXPECT_EQ(samples[i].duration, 1024u);
  }
}

TEST_F(Clip, SoundTracksThatAreNotHeardAreDropped) {
  Mp4Movie movie = VideoMovie(60);
  movie.sound.push_back(test::Sound(kStart - 2000 * kMs, 47));  // over before the video
  movie.sound.push_back(test::Sound(kStart, 0));
  movie.sound.push_back(test::Sound(kStart, 5));
  movie.sound[2].format.config.clear();
  movie.sound.push_back(test::Sound(kStart, 5));
  movie.sound[3].format.sample_rate = 0;
  movie.sound.push_back(test::Sound(kStart, 5));
  movie.sound[4].format.voice = true;
  const Bytes file = Write(movie);
  EXPECT_EQ(Types(test::Children(Find(file, "moov"))), "mvhd trak trak");
  EXPECT_EQ(Find(file, "moov/trak[1]/tkhd").U32(12), 2u);
  EXPECT_EQ(Find(file, "moov/trak[1]/tkhd").U32(0), 6u);
}

TEST_F(Clip, WebcamIsLeftOutWithoutAnError) {
  Mp4Movie good = VideoMovie(60);
  good.webcam = std::make_shared<Mp4WebcamTrack>(test::Webcam());
  for (uint32_t i = 0; i < 30; ++i) {
    const bool key = i == 3;
    good.webcam_packets.push_back(
        Packet(test::Slice(40, 1000 + i, key), kStart - 200 * kMs + i * 1000 * kMs / 30, key));
  }
  const auto has_webcam = [&](const Mp4Movie& movie) {
    const Bytes file = Write(movie);
    EXPECT_TRUE(status_.ok()) << status_.ToString();
    const Box mdat = Find(file, "mdat");
    const bool has = Has(file, "moov/trak[1]");
    uint64_t bytes = 0;
    for (const auto& sample : test::Samples(file, "moov/trak")) bytes += sample.size;
    EXPECT_EQ(bytes < mdat.body.size(), has) << "media of a track that is not there";
    return has;
  };
  ASSERT_TRUE(has_webcam(good));
  const Bytes file = test::ReadFile(Path());
  EXPECT_EQ(test::Samples(file, "moov/trak[1]").size(), 27u) << "from its first keyframe";
  // The first keyframe lies 100 ms before the video.
  EXPECT_EQ(Find(file, "moov/trak[1]/edts/elst").body,
            Hex("00000000 00000001 00011940 00002328 00010000"));

  const struct {
    const char* why;
    void (*spoil)(Mp4Movie& movie);
  } kCases[] = {
      {"reordered", [](Mp4Movie& movie) { movie.webcam_packets[9].dts += 1; }},
      {"no keyframe", [](Mp4Movie& movie) { movie.webcam_packets[3].keyframe = false; }},
      {"no configuration",
       [](Mp4Movie& movie) {
         auto broken = std::make_shared<Mp4WebcamTrack>(*movie.webcam);
         broken->sequence_header.clear();
         movie.webcam = broken;
       }},
      {"begins after the video's end",
       [](Mp4Movie& movie) {
         for (auto& packet : movie.webcam_packets) packet.dts = packet.pts += 5000 * kMs;
       }},
  };
  for (const auto& c : kCases) {
    Mp4Movie movie = good;
    c.spoil(movie);
    EXPECT_FALSE(has_webcam(movie)) << c.why;
  }
}

TEST_F(Clip, DeferredPayloadsAreReadWithinTheBudget) {
  const Bytes expected = Write(VideoMovie(60));
  const struct {
    uint64_t budget;
    uint32_t reads;  // in all
  } kCases[] = {{0, 120}, {UINT64_MAX, 60}, {25 + 26 + 27, 117}};
  for (const auto& c : kCases) {
    Mp4Movie movie = VideoMovie(60);
    movie.read_budget = c.budget;
    const auto deferred = test::Defer(movie.packets);
    EXPECT_TRUE(Write(movie) == expected) << c.budget;
    EXPECT_EQ(deferred->total_reads, c.reads) << c.budget;
  }

  // What is copied as it is needs no look at its bytes.
  Mp4Movie movie = VideoMovie(60);
  movie.video.length_prefixed = true;
  const auto deferred = test::Defer(movie.packets);
  ASSERT_FALSE(Write(movie).empty());
  EXPECT_EQ(deferred->total_reads, 60u);
}

TEST_F(Clip, WebcamHasAnEighthOfTheBudget) {
  Mp4Movie movie = VideoMovie(60);
  movie.webcam = std::make_shared<Mp4WebcamTrack>(test::Webcam());
  for (uint32_t i = 0; i < 20; ++i) {
    movie.webcam_packets.push_back(
        Packet(test::Slice(35, i, true), kStart + i * 1000 * kMs / 30, true));  // 40 bytes each
  }
  const auto deferred = test::Defer(movie.webcam_packets);
  movie.read_budget = 8 * 10 * 40;
  ASSERT_FALSE(Write(movie).empty());
  EXPECT_EQ(deferred->total_reads, 30u);
}

TEST_F(Clip, AnUnreadablePacketEndsTheClipThere) {
  Mp4Movie movie = VideoMovie(60);
  auto deferred = test::Defer(movie.packets);
  deferred->fail_from = 30;
  const Bytes file = Write(movie);
  ASSERT_TRUE(status_.ok()) << status_.ToString();
  EXPECT_EQ(test::Samples(file, "moov/trak").size(), 30u);

  deferred->fail_from = 0;
  std::filesystem::remove(Path());
  ExpectRefused(movie, {StatusCode::InvalidArgument, "no decodable video samples"});
}

TEST_F(Clip, WhatCannotBeReadAgainLeavesNoFile) {
  const Status kLost(StatusCode::DriverError, "the replay could not be read back from the drive");
  Mp4Movie movie = VideoMovie(60);
  auto deferred = test::Defer(movie.packets);
  deferred->fail_after_reads = 60 + 20;
  ExpectRefused(movie, kLost);

  // A row answers with other bytes at the second reading.
  struct Changing : test::FakeDeferred {
    Payload Read(uint64_t index) override {
      const Payload payload = FakeDeferred::Read(index);
      if (reads[index] == 2 && index == 7) return Payload::Copy(Hex("00000001 65"));
      return payload;
    }
  };
  movie = VideoMovie(60);
  test::Defer<Changing>(movie.packets);
  ExpectRefused(movie, kLost);

  // Sound is copied; a size that is not what it was is seen as well.
  struct Shrinking : test::FakeDeferred {
    uint64_t Size(uint64_t index) const override { return FakeDeferred::Size(index) + 1; }
  };
  movie = VideoMovie(60);
  movie.sound.push_back(test::Sound(kStart, 20));
  test::Defer<Shrinking>(movie.sound[0].packets);
  ExpectRefused(movie, kLost);
}

}  // namespace
}  // namespace orventa
