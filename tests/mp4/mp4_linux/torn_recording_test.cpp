// Recordings of real encoders, cut off everywhere and repaired.
#include <gtest/gtest.h>
#include <sys/mount.h>

#include <algorithm>
#include <map>
#include <random>

#include "base/files.h"
#include "mp4/repair.h"
#include "support_linux/killed_child.h"
#include "tests/fakes/temp_folder.h"
#include "tests/mp4/mp4_linux/encoded.h"
#include "tests/mp4/recording_fixture.h"

namespace orventa {
namespace {

using test::kMs;
using test::kStart;
using test::Probe;
using test::Shell;
using Bytes = std::vector<uint8_t>;

constexpr const char* kTraks[] = {"moov/trak[0]", "moov/trak[1]", "moov/trak[2]", "moov/trak[3]"};

Bytes First(const Bytes& bytes, size_t count) {
  return {bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(count)};
}

class TornRecording : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    const TempFolder folder;
    movie_ = test::MovieOf(Mp4Codec::H264);
    Encode(
        "-f lavfi -i testsrc2=s=320x180:r=30:d=6 -g 30 -c:v libx264 -preset ultrafast -bf 0 "
        "-threads 1 -b:v 100k",
        folder / "in.h264");
    Encode("-f lavfi -i sine=440:d=6:r=48000 -ac 2 -c:a aac -b:a 64k -f adts", folder / "in.adts");
    test::AddFrames(test::ReadFile(folder / "in.h264"), movie_);
    const Bytes adts = test::ReadFile(folder / "in.adts");
    movie_.sound = {test::SoundOf(adts, kStart - 200 * kMs),
                    test::SoundOf(adts, kStart + 400 * kMs)};
    movie_.sound[1].format.voice = true;
    auto webcam = std::make_shared<Mp4WebcamTrack>();
    static_cast<Mp4VideoTrack&>(*webcam) = movie_.video;
    webcam->placement.width = webcam->placement.height = 0.25f;
    movie_.webcam = webcam;
    movie_.webcam_packets = movie_.packets;
    for (auto& packet : movie_.webcam_packets) packet.dts = packet.pts += 1000 * kMs;

    Mp4Writer writer;
    test::Record(writer, folder / "a.mp4", movie_);
    torn_ = test::ReadFile(folder / "a.mp4");
    box_ends_ = {0};
    for (const test::Box& box : test::Boxes(torn_)) box_ends_.push_back(box.end());
    ASSERT_EQ(writer.Finish(), Status::Ok());
    finished_ = test::ReadFile(folder / "a.mp4");
  }
  static void TearDownTestSuite() {
    movie_ = {};
    torn_ = finished_ = {};
    indices_.clear();
  }
  static void Encode(const std::string& arguments, const std::string& path) {
    ASSERT_EQ(Shell("ffmpeg -nostdin -v error -y " + arguments + " " + path), "");
  }

  // Repairs the first `cut` bytes in memory and holds the index against the
  // fragments that are whole in them.
  static void TryCut(size_t cut) {
    test::MemorySource source(std::span<const uint8_t>(torn_).first(cut));
    RepairPlan plan;
    const Status status = PlanRepair(source, plan);
    const size_t whole = *std::prev(std::upper_bound(box_ends_.begin(), box_ends_.end(), cut));
    if (const auto known = indices_.find(whole); known != indices_.end()) {
      ASSERT_EQ(status.ok() ? plan.moov : Bytes(), known->second) << "cut at " << cut;
      return;
    }
    indices_[whole] = plan.moov;
    const auto tracks = test::FragmentsIn(torn_, whole);
    if (!tracks.contains(1)) {
      ASSERT_EQ(status.code(), StatusCode::InvalidArgument) << "cut at " << cut;
      return;
    }
    ASSERT_EQ(status, Status::Ok()) << "cut at " << cut;
    ASSERT_EQ(plan.cut_point, whole);
    ASSERT_EQ(plan.header_offset, 32u);
    size_t trak = 0;
    for (const auto& [number, samples] : tracks) {
      ASSERT_EQ(test::Samples(plan.moov, kTraks[trak++]), samples) << "cut at " << cut;
    }
  }

  std::string Put(const Bytes& bytes) {
    test::WriteFile(folder_ / "cut.mp4", bytes);
    return folder_ / "cut.mp4";
  }

  inline static Mp4Movie movie_;
  inline static Bytes torn_;
  inline static Bytes finished_;
  inline static std::vector<size_t> box_ends_;     // in torn_, from 0 on
  inline static std::map<size_t, Bytes> indices_;  // found right, by their cut point
  TempFolder folder_;
};

TEST_F(TornRecording, RepairsToItsWholeFragmentsWhereverItIsCut) {
  ASSERT_EQ(test::FragmentsIn(torn_, torn_.size()).size(), 4u);
  std::mt19937 random(20261121);
  for (int i = 0; i < 1000; ++i) ASSERT_NO_FATAL_FAILURE(TryCut(random() % (torn_.size() + 1)));
  // Every byte of one fragment, the shortest of the later ones, and around it.
  size_t best = box_ends_.size() / 2;
  for (size_t i = best; i + 2 < box_ends_.size(); ++i) {
    const bool shorter = box_ends_[i + 2] - box_ends_[i] < box_ends_[best + 2] - box_ends_[best];
    if (shorter && torn_[box_ends_[i] + 5] == 'o') best = i;  // begins with its moof
  }
  for (size_t cut = box_ends_[best] - 3; cut < box_ends_[best + 2] + 20; ++cut) {
    ASSERT_NO_FATAL_FAILURE(TryCut(cut));
  }
}

TEST_F(TornRecording, PlaysWithoutAnErrorAndIsLeftAloneByAnotherRepair) {
  std::mt19937 random(7);
  for (int i = 0; i < 12; ++i) {
    const size_t cut = torn_.size() / 4 + random() % (torn_.size() * 3 / 4);
    const std::string path = Put(First(torn_, cut));
    ASSERT_EQ(FinishInterrupted(path), Status::Ok());
    EXPECT_EQ(Shell("ffmpeg -nostdin -v error -i " + path + " -map 0 -f null -"), "") << cut;
    const Bytes repaired = test::ReadFile(path);
    const size_t moov = test::Find(repaired, "moov").start;
    Bytes untouched = First(repaired, moov);
    std::copy_n(torn_.begin() + 32, 16, untouched.begin() + 32);
    EXPECT_EQ(untouched, First(torn_, moov));
    EXPECT_EQ(FinishInterrupted(path), Status(StatusCode::InvalidArgument, "already finished"));
    EXPECT_EQ(test::ReadFile(path), repaired);
  }
}

TEST_F(TornRecording, IsTheSameToAJudgeWhetherFinishedOrRepaired) {
  const std::string finished = folder_ / "finished.mp4";
  test::WriteFile(finished, finished_);
  const std::string repaired = Put(test::Unfinished(finished_));
  ASSERT_EQ(FinishInterrupted(repaired), Status::Ok());
  for (const std::string& file : {finished, repaired}) {
    EXPECT_EQ(Shell("ffmpeg -nostdin -v error -i " + file + " -map 0 -f null -"), "");
    EXPECT_EQ(Probe(file, "v:0", "stream=codec_name,nb_frames,start_time,duration"),
              "h264,0.000000,6.000000,180");
    EXPECT_EQ(Probe(file, "a", "stream=codec_name,start_time"), "aac,0.000000\naac,0.400000");
    EXPECT_EQ(Probe(file, "a", "stream_disposition=default"), "1\n0");
    EXPECT_EQ(Probe(file, "v:1", "stream=start_time,nb_frames"), "1.000000,180");
  }
  const std::string hash = " -map 0 -c copy -f streamhash -hash md5 -";
  EXPECT_EQ(Shell("ffmpeg -v error -i " + finished + hash),
            Shell("ffmpeg -v error -i " + repaired + hash));
  // Unrepaired it is a file of fragments, which players know if it has the video alone.
  Mp4Movie silent = movie_;
  silent.sound.clear();
  silent.webcam.reset();
  Mp4Writer writer;
  test::Record(writer, folder_ / "fragments.mp4", silent);
  EXPECT_EQ(Probe(folder_ / "fragments.mp4", "v:0", "stream=codec_name,duration"), "h264,5.000000");
}

TEST_F(TornRecording, ARepairKilledAnywhereCanBeRunAgain) {
  const Bytes torn = First(torn_, torn_.size() / 3);
  const std::string whole = Put(torn);
  ASSERT_EQ(FinishInterrupted(whole), Status::Ok());
  const Bytes moov = test::Find(test::ReadFile(whole), "moov").body;
  int stops = 0;
  for (bool ended = false; !ended; ++stops) {
    ASSERT_LT(stops, 1000);
    const std::string path = Put(torn);
    const auto code =
        RunUpToSystemCall(stops, [&] { return FinishInterrupted(path).ok() ? 0 : 1; });
    if (code == kTracingNotPermitted) GTEST_SKIP() << "tracing is not permitted here";
    ended = code.has_value();
    ASSERT_EQ(code.value_or(0), 0);
    const Status again = FinishInterrupted(path);
    ASSERT_TRUE(again.ok() || again.message() == "already finished") << again.ToString();
    ASSERT_EQ(test::Find(test::ReadFile(path), "moov").body, moov) << "after stop " << stops;
  }
  EXPECT_GT(stops, 40);
}

TEST_F(TornRecording, AFullDriveEndsItAndTheRepairFindsRoom) {
  if (mount("tmpfs", folder_.path().c_str(), "tmpfs", 0, "size=200k") != 0) {
    GTEST_SKIP() << "mounting a small drive is not permitted here";
  }
  const std::string path = folder_ / "full.mp4";
  const Status full(StatusCode::DriveFull, "the drive is full");
  {
    Mp4Writer writer;
    EXPECT_THROW(test::Record(writer, path, movie_), std::runtime_error);
    EXPECT_EQ(writer.AddVideo(test::Encoded(movie_.packets[0])), full);
    EXPECT_EQ(writer.AddAudio(0, test::Encoded(movie_.sound[0].packets[0])), full);
    EXPECT_EQ(writer.Finish(), full);
  }
  EXPECT_EQ(FinishInterrupted(path), Status::Ok());
  EXPECT_EQ(Shell("ffmpeg -nostdin -v error -i " + path + " -map 0 -f null -"), "");
  umount(folder_.path().c_str());
}

}  // namespace
}  // namespace orventa
