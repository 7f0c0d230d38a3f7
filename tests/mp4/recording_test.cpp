#include <gtest/gtest.h>

#include <array>
#include <functional>

#include "base/files.h"
#include "mp4/box_io.h"
#include "mp4/fragment.h"
#include "mp4/repair.h"
#include "tests/fakes/counted_heap.h"
#include "tests/fakes/temp_folder.h"
#include "tests/mp4/recording_fixture.h"

namespace orventa {
namespace {

using test::kMs;
using test::kStart;
using Bytes = std::vector<uint8_t>;

Status Refused(const char* why) {
  return {StatusCode::InvalidArgument, why};
}

// Five seconds with everything there is. The webcam begins 1.5 s after the video.
Mp4Movie FullMovie() {
  Mp4Movie movie = test::VideoMovie(300, 60000, 1001);
  movie.sound = {test::Sound(kStart - 300 * kMs, 260), test::Sound(kStart + 250 * kMs, 200)};
  movie.sound[1].format.voice = true;
  auto webcam = std::make_shared<Mp4WebcamTrack>(test::Webcam());
  webcam->placement.flip_vertical = true;
  webcam->placement.shape = 2;
  movie.webcam = webcam;
  for (size_t i = 0; i < 90; ++i) {
    const bool key = i % 30 == 5;
    const uint64_t pts = kStart + 1500 * kMs + i * 1000 * kMs / 30 - 5 * 1000 * kMs / 30;
    movie.webcam_packets.push_back(test::Packet(test::Slice(30, 7, key), pts, key));
  }
  return movie;
}

class Recording : public testing::Test {
 protected:
  // What is on the drive while a writer is still at it.
  Bytes Torn(const Mp4Movie& movie) {
    Mp4Writer writer;
    test::Record(writer, folder_ / "torn.mp4", movie);
    return test::ReadFile(folder_ / "torn.mp4");
  }
  // Repairs the bytes; a refusal must leave them as they are.
  Status Repair(Bytes& bytes) {
    const std::string path = folder_ / "repaired.mp4";
    test::WriteFile(path, bytes);
    const Status status = FinishInterrupted(path);
    const Bytes after = test::ReadFile(path);
    EXPECT_TRUE(status.ok() || after == bytes) << status.ToString();
    bytes = after;
    return status;
  }

  TempFolder folder_;
};

TEST_F(Recording, IsLaidOutForTheRepairAndFinishedByOneHeader) {
  const Mp4Movie movie = FullMovie();
  const std::string path = folder_ / "a.mp4";
  Mp4Writer writer;
  test::Record(writer, path, movie);
  const Bytes torn = test::ReadFile(path);
  const std::string types = test::Types(test::Boxes(torn));
  // A block before any packet, one at the first picture since sound has begun, and
  // one for the second sound track.
  EXPECT_TRUE(types.starts_with("ftyp free uuid moov uuid uuid moof mdat moof mdat")) << types;
  EXPECT_EQ(Bytes(torn.begin() + 32, torn.begin() + 48),
            test::Hex("00000001 66726565 00000000 00000010"));
  EXPECT_EQ(test::Find(torn, "uuid").U32(16), 6u);
  EXPECT_EQ(test::Types(test::Children(test::Find(torn, "moov"))), "mvhd trak mvex");
  // One of the first fragment's samples, field by field.
  const Bytes moof = test::Find(torn, "moof").body;
  EXPECT_EQ(Bytes(moof.begin(), moof.begin() + 16),
            test::Hex("00000010 6D666864 00000000 00000001"));

  writer.AddMarker(kStart + 1000 * kMs, "Marker 1");
  writer.AddEvent({kStart, "Kill", 3, "", 1, ""});
  writer.SetCaptions("text");
  writer.SetEndTime(movie.packets.back().pts + 100 * kMs);
  writer.SetContentLight(900, 300);
  ASSERT_EQ(writer.Finish(), Status::Ok());
  ASSERT_EQ(writer.Finish(), Status::Ok());
  EXPECT_EQ(writer.ElapsedNs(), movie.packets.back().pts - kStart);
  const Bytes file = test::ReadFile(path);
  EXPECT_EQ(test::Types(test::Boxes(file)), "ftyp mdat moov");
  EXPECT_EQ(test::Types(test::Children(test::Find(file, "moov"))), "mvhd trak trak trak trak udta");
  EXPECT_EQ(test::Types(test::Children(test::Find(file, "moov/udta"))), "chpl uuid uuid uuid");

  const auto samples = test::Samples(file, "moov/trak[0]");
  ASSERT_EQ(samples.size(), movie.packets.size());
  uint64_t media_bytes = 0;
  for (size_t i = 0; i < samples.size(); ++i) {
    const auto payload = movie.packets[i].payload.bytes();
    const Bytes expected = test::LengthPrefixed({payload.begin(), payload.end()});
    const auto first = file.begin() + static_cast<std::ptrdiff_t>(samples[i].offset);
    ASSERT_EQ(Bytes(first, first + samples[i].size), expected) << i;
    ASSERT_EQ(samples[i].sync, movie.packets[i].keyframe) << i;
    ASSERT_EQ(samples[i].duration, i + 1 < samples.size() ? 2002u : 12000u) << i;
  }
  for (const char* trak : {"moov/trak[0]", "moov/trak[1]", "moov/trak[2]", "moov/trak[3]"}) {
    for (const auto& sample : test::Samples(file, trak)) media_bytes += sample.size;
  }
  EXPECT_EQ(writer.SizeOnDisk(), media_bytes);
  EXPECT_EQ(test::Samples(file, "moov/trak[3]").size(), 85u);  // from its first keyframe on
}

TEST_F(Recording, ARepairGivesTheIndexThatTheEndWouldHave) {
  const std::string path = folder_ / "a.mp4";
  Mp4Writer writer;
  test::Record(writer, path, FullMovie());
  ASSERT_EQ(writer.Finish(), Status::Ok());
  const Bytes finished = test::ReadFile(path);
  Bytes repaired = test::Unfinished(finished);
  ASSERT_EQ(Repair(repaired), Status::Ok());
  // With all fragments there, the two differ in nothing, and the unused index stays.
  EXPECT_EQ(test::Find(repaired, "moov").body, test::Find(finished, "moov").body);
  EXPECT_EQ(test::Find(repaired, "moov").start, finished.size());
  Bytes again = repaired;
  EXPECT_EQ(Repair(again), Refused("already finished"));
}

TEST(Fragment, ATimeMaySpellATag) {
  Bytes bytes;
  ByteWriter out(bytes);
  const uint64_t time = uint64_t{FourCc("trun")} << 32 | FourCc("tfhd");
  WriteFragmentHead(out, 1, 2, time, std::vector<FragmentSample>{{5, 1024, true}});
  FragmentHead head;
  ASSERT_TRUE(ReadFragmentHead(bytes, head));
  EXPECT_EQ(head.decode_time, time);
  EXPECT_EQ(head.track_number, 2u);
}

// By the box, fields as they stand in files: the writer makes only some of these.
void WriteBlock(ByteWriter& out, uint32_t version) {
  BoxScope box(out, FourCc("uuid"));
  out.Text("ORVENTA!mp4recv1");
  const auto format = [&](uint32_t width, bool hdr) {
    for (const uint32_t field : {0u, width, 720u, 60u, 1u, hdr ? 1u : 0u, 1u, 1u, 1u}) {
      out.U32(field);
    }
    out.U32(0);  // full range
    if (hdr && version >= 2) out.Bytes(test::Hex("000003E8 000000CB"));
    if (hdr && version >= 3) {
      for (uint32_t i = 0; i < 8; ++i) out.U32(1000 * (i + 1));
      out.U32(7);
    }
    const Bytes header = test::VideoMovie(0).video.sequence_header;
    out.U32(static_cast<uint32_t>(header.size()));
    out.Bytes(header);
  };
  out.U32(version);
  format(1280, true);
  out.Bytes(test::Hex("00000001 0000BB80 00000002 00000002 1190"));
  if (version == 6) out.U32(2);
  if (version >= 4) {
    format(640, false);
    out.Bytes(test::Hex("000B71B0 0007A120 0003D090 0001E848"));
  }
  if (version >= 5) {
    out.Bytes(test::Hex("00000002 00000000 00000000 000F4240 0007A120"));
    out.Bytes(test::Hex("00000064 000000C8 00000009 FF123456"));
  }
  if (version == 6) out.Bytes(test::Hex("00015F90 00017700"));
  if (version >= 5) out.Bytes(test::Hex("766F6963 00000001"));
  if (version >= 6) out.Bytes(test::Hex("73747274 00000001 00000001 FFFFFFFFEE1E5D00"));
}

Bytes Block(uint32_t version) {
  Bytes bytes;
  ByteWriter out(bytes);
  WriteBlock(out, version);
  return bytes;
}

TEST_F(Recording, BlocksOfAllVersionsAreReadAndTheLastOneCounts) {
  Mp4Movie movie = test::VideoMovie(130);
  movie.sound = {test::Sound(kStart, 100)};
  movie.webcam = std::make_shared<Mp4WebcamTrack>(test::Webcam());
  movie.webcam_packets = movie.packets;
  const Bytes torn = Torn(movie);
  const std::string entry = "moov/trak[0]/mdia/minf/stbl/stsd/avc1/";
  for (uint32_t version = 1; version <= 6; ++version) {
    SCOPED_TRACE(version);
    Bytes bytes = torn;
    const Bytes block = Block(version);
    bytes.insert(bytes.end(), block.begin(), block.end());
    ASSERT_EQ(Repair(bytes), Status::Ok());
    EXPECT_EQ(test::Has(bytes, entry + "mdcv"), version >= 2);
    if (version >= 2) {
      const test::Box mdcv = test::Find(bytes, entry + "mdcv");
      EXPECT_EQ(mdcv.U16(0), version >= 3 ? 3000u : 8500u);
      EXPECT_EQ(mdcv.U32(16), 10'000'000u);
      EXPECT_EQ(mdcv.U32(20), version >= 3 ? 7u : 0u);
    }
    // Sound 300 ms before the video: only the sixth says so.
    EXPECT_EQ(test::Has(bytes, "moov/trak[1]/edts"), version == 6);
    if (version == 6) {
      const test::Box elst = test::Find(bytes, "moov/trak[1]/edts/elst");
      EXPECT_EQ(elst.U32(4), 1u);
      EXPECT_EQ(elst.U32(12), 14400u);
    }
    EXPECT_EQ(test::Find(bytes, "moov/trak[1]/mdia/hdlr").Text(24, 13),
              version >= 5 ? std::string("ORVENTA Voice") : std::string("SoundHandler\0", 13));
    EXPECT_EQ(test::Has(bytes, "moov/trak[2]"), version >= 4);
    if (version < 4) continue;
    EXPECT_EQ(test::Find(bytes, "moov/trak[2]/mdia/mdhd").U32(12), version == 6 ? 96000u : 90000u);
    const test::Box overlay = test::Find(bytes, "moov/udta/uuid");
    EXPECT_EQ(overlay.U32(21), 750'000u);
    EXPECT_EQ(overlay.U8(37), version >= 5 ? 2u : 0u);
    EXPECT_EQ(overlay.U32(50), version >= 5 ? 500'000u : 1'000'000u);
    EXPECT_EQ(overlay.U8(54), 0u);
    EXPECT_EQ(overlay.U32(55), version >= 5 ? 100u : 0u);
    EXPECT_EQ(overlay.U32(63), version >= 5 ? 0x123456u : 0xFFFFFFu);
  }
}

TEST_F(Recording, WhatCannotBeRepairedIsToldApart) {
  Mp4Movie movie = test::VideoMovie(130);
  movie.sound = {test::Sound(kStart, 100)};
  const Bytes torn = Torn(movie);
  Mp4Movie silent_picture = movie;
  silent_picture.packets.clear();
  const std::string clip = folder_ / "clip.mp4";
  ASSERT_TRUE(WriteMp4(clip, movie).ok());
  const size_t first_fragment = test::Find(torn, "moof").start;
  const auto with_block = [&](size_t at, const char* hex) {
    Bytes block = Block(6);
    const Bytes patch = test::Hex(hex);
    std::copy(patch.begin(), patch.end(), block.begin() + static_cast<std::ptrdiff_t>(at));
    Bytes bytes = torn;
    bytes.insert(bytes.end(), block.begin(), block.end());
    return bytes;
  };
  const size_t sound_at = 24 + 4 + 40 + 8 + 36 + 4 + movie.video.sequence_header.size();
  const struct {
    const char* why;
    Bytes bytes;
  } kCases[] = {
      {"already finished", test::ReadFile(clip)},
      {"not an interrupted ORVENTA recording", {}},
      {"not an interrupted ORVENTA recording", test::Hex("0000000866726565 6E6F")},
      {"not an interrupted ORVENTA recording", Bytes(torn.begin(), torn.begin() + 60)},
      {"nothing was recorded",
       Bytes(torn.begin(), torn.begin() + static_cast<std::ptrdiff_t>(first_fragment + 50))},
      {"no whole video fragments survived", Torn(silent_picture)},
      {"recovery block is from a newer build", with_block(24, "00000007")},
      {"recovery block is from a newer build", with_block(24, "00000000")},
      {"recovery block is damaged", with_block(sound_at, "00001000")},
      {"recovery block is damaged", with_block(sound_at + 4, "00000000")},
      {"recovery block is damaged", with_block(sound_at + 8, "00000000")},
      {"recovery block is damaged", with_block(sound_at + 12, "00000200")},
      {"recovery block is damaged", with_block(sound_at + 18, "00000003")},
      {"recovery block is damaged", with_block(sound_at - 20, "FFFFFFFF")},
      {"sequence header contains no SPS/PPS -- cannot build avcC",
       with_block(sound_at - movie.video.sequence_header.size(), "00000002")},
  };
  for (auto& [why, bytes] : kCases) {
    Bytes copy = bytes;
    EXPECT_EQ(Repair(copy), Refused(why));
  }
  const std::string path = folder_ / "absent.mp4";
  EXPECT_EQ(FinishInterrupted(path), Status(StatusCode::DriverError, "cannot read '" + path + "'"));
  Mp4Writer writer;
  test::Record(writer, path, movie);
  EXPECT_EQ(FinishInterrupted(path), Status(StatusCode::DriverError, "still being written"));
}

TEST_F(Recording, RefusesWhatItCannotRecordAndLeavesNoFileOfNothing) {
  const std::string path = folder_ / "a.mp4";
  const Mp4Movie movie = test::VideoMovie(3);
  Mp4Writer writer;
  EXPECT_EQ(writer.Finish(), Status::Ok());
  EXPECT_EQ(writer.AddVideo({}), Refused("not open"));
  const std::string nowhere = folder_ / "absent" + std::string("/a.mp4");
  EXPECT_EQ(writer.Open(nowhere, movie.video, {}),
            Status(StatusCode::InvalidArgument, "cannot open '" + nowhere + "'"));
  Mp4VideoTrack headless = movie.video;
  headless.sequence_header.clear();
  EXPECT_FALSE(writer.Open(path, headless, {}).ok());
  EXPECT_FALSE(FileExists(path));

  // A track without a config keeps its index, and takes no packets.
  ASSERT_TRUE(writer.Open(path, movie.video, {Mp4AudioTrack(), test::Sound(0, 0).format}).ok());
  EXPECT_EQ(writer.Open(path, movie.video, {}), Refused("already open"));
  EncodedPacket packet = test::Encoded(movie.packets[0]);
  packet.dts += 1;
  EXPECT_EQ(writer.AddVideo(packet),
            Refused("video with reordered frames (dts != pts) is not supported"));
  const EncodedPacket sound = test::Encoded(test::Sound(kStart, 1).packets[0]);
  for (const size_t index : {0u, 1u, 2u}) EXPECT_EQ(writer.AddAudio(index, sound), Status::Ok());
  EXPECT_EQ(writer.Finish(), Refused("no video samples were written"));
  EXPECT_FALSE(FileExists(path));

  ASSERT_TRUE(writer.Open(path, movie.video, {Mp4AudioTrack(), test::Sound(0, 0).format}).ok());
  for (const size_t index : {0u, 1u, 2u}) EXPECT_EQ(writer.AddAudio(index, sound), Status::Ok());
  packet.dts = packet.pts;
  EXPECT_EQ(writer.AddVideo(packet), Status::Ok());
  ASSERT_EQ(writer.Finish(), Status::Ok());
  const Bytes file = test::ReadFile(path);
  EXPECT_EQ(test::Samples(file, "moov/trak[0]")[0].duration, 1500u);
  EXPECT_EQ(test::Samples(file, "moov/trak[1]").size(), 1u);
}

TEST_F(Recording, AWebcamMayComeLate) {
  Mp4Movie movie = FullMovie();
  const auto webcam = std::exchange(movie.webcam, nullptr);
  const auto packets = std::exchange(movie.webcam_packets, {});
  const std::string path = folder_ / "a.mp4";
  Mp4Writer writer;
  test::Record(writer, path, movie);
  auto wrong = std::make_shared<Mp4WebcamTrack>(*webcam);
  wrong->sequence_header = {1, 2, 3};
  ASSERT_TRUE(writer.AttachWebcam(wrong).ok());
  ASSERT_TRUE(writer.AttachWebcam(webcam).ok());
  ASSERT_TRUE(writer.AttachWebcam(webcam).ok());
  for (const auto& packet : packets) ASSERT_TRUE(writer.AddWebcam(test::Encoded(packet)).ok());
  Bytes bytes = test::ReadFile(path);
  EXPECT_EQ(test::Types(test::Boxes(bytes)).find("uuid moof mdat moof mdat uuid moof mdat"),
            std::string::npos);
  ASSERT_EQ(Repair(bytes), Status::Ok());
  EXPECT_EQ(test::Samples(bytes, "moov/trak[3]").size(), 60u);
  const test::Box elst = test::Find(bytes, "moov/trak[3]/edts/elst");
  EXPECT_EQ(elst.U32(8), 135'000u);  // 1.5 s
}

// Sound comes a tenth of a second behind the picture, so that a kill may find the picture's
// fragment written and the sound's of the same second not: each track loses what waits, no more.
TEST_F(Recording, LosesOfEachTrackNoMoreThanASecondWhenItIsKilled) {
  constexpr size_t kFps = 15;
  Mp4Movie movie = test::VideoMovie(5 * kFps, kFps);
  movie.sound = {test::Sound(kStart, 230)};
  const std::string path = folder_ / "a.mp4";
  Mp4Writer writer;
  ASSERT_TRUE(writer.Open(path, movie.video, {movie.sound[0].format}).ok());
  const auto& sound = movie.sound[0].packets;
  std::map<uint32_t, std::vector<test::Sample>> kept;
  for (size_t pictures = 0, sounds = 0; pictures < movie.packets.size();) {
    if (sounds < sound.size() && sound[sounds].pts + 100 * kMs <= movie.packets[pictures].pts) {
      ASSERT_TRUE(writer.AddAudio(0, test::Encoded(sound[sounds++])).ok());
    } else {
      ASSERT_TRUE(writer.AddVideo(test::Encoded(movie.packets[pictures++])).ok());
    }
    kept = test::FragmentsIn(test::ReadFile(path), SIZE_MAX);
    // The newest picture waits for its duration beside a second of others.
    ASSERT_LE(pictures - kept[1].size(), kFps) << pictures;
    ASSERT_LT((sounds - kept[2].size()) * 1024, 48000u) << sounds;
  }
  EXPECT_EQ(kept[1].size(), 4 * kFps);
  EXPECT_EQ(kept[2].size(), 4 * 47u);
}

// Twelve hours, at few pictures and sound packets a second, take no more allocations than it takes
// to grow the tables, and what waits for its fragment stays as small as in the first minute.
TEST_F(Recording, TakesNoMoreMemoryTheLongerItRuns) {
  constexpr uint64_t kSecond = 1000 * kMs;
  const Mp4VideoTrack video = test::VideoMovie(0, 5).video;
  Mp4AudioTrack format = test::Sound(0, 0).format;
  format.sample_rate = 8000;
  std::atomic<uint64_t> allocations = 0;
  EncodedPacket picture{Payload::Copy(test::Slice(8, 1, true)), 0, 0, false};
  EncodedPacket sound{Payload::Copy(Bytes(8, 1)), 0, 0, true};
  Mp4Writer writer;
  ASSERT_TRUE(writer.Open(folder_ / "a.mp4", video, {format}).ok());
  Status status;
  for (uint64_t second = 0; second < 12 * 3600; ++second) {
    if (second == 60) CountAllocationsInto(&allocations);
    for (uint64_t i = 0; i < 5; ++i) {
      picture.pts = picture.dts = static_cast<int64_t>(second * kSecond + i * kSecond / 5);
      picture.keyframe = i == 0;
      if (status.ok()) status = writer.AddVideo(picture);
    }
    for (int i = 0; i < 8 && status.ok(); ++i) status = writer.AddAudio(0, sound);
  }
  CountAllocationsInto(nullptr);
  ASSERT_EQ(status, Status::Ok());
  // Two tables of sizes, two of chunks and one of sync samples, each of which
  // doubles ten times at most.
  EXPECT_LE(allocations, 55u);
  ASSERT_EQ(writer.Finish(), Status::Ok());
}

}  // namespace
}  // namespace orventa
