// Repairing a recording of four hours at 40 Mbit/s, which lies on the drive with
// holes in place of its samples: seconds, megabytes read, memory.
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "base/files.h"
#include "benchmarks/bench.h"
#include "mp4/box_io.h"
#include "mp4/fragment.h"
#include "mp4/mp4_writer.h"
#include "mp4/repair.h"
#include "mp4/repair_plan.h"

namespace orventa::bench {
namespace {

namespace fs = std::filesystem;

constexpr uint32_t kSeconds = 4 * 3600;
constexpr uint32_t kFps = 60;
constexpr uint32_t kFrameTicks = 1500;
constexpr uint32_t kFrameBytes = 40'000'000 / 8 / kFps;
// As the writer cuts them: a mebibyte of pictures, a second of sound.
constexpr uint32_t kFramesAFragment = 0x100000 / kFrameBytes;
constexpr uint32_t kSoundBytes = 160'000 / 8 * 1024 / 48'000;
constexpr uint32_t kSoundFrames = 47;
constexpr size_t kSoundTracks = 2;
constexpr int kRounds = 5;

[[noreturn]] void Fail(const std::string& why) {
  std::fprintf(stderr, "bench: %s\n", why.c_str());
  std::exit(1);
}

// The boxes before the first fragment, from the writer itself.
std::vector<uint8_t> Head(const std::string& path) {
  Mp4VideoTrack video;
  video.width = 2560;
  video.height = 1440;
  video.fps_num = kFps;
  video.sequence_header = {0, 0, 0, 1, 0x67, 0x64, 0, 0x2A, 0xAC, 0, 0, 0, 1, 0x68, 0xEE};
  Mp4AudioTrack sound;
  sound.config = {0x11, 0x90};
  Mp4Writer writer;
  const Status status = writer.Open(path, video, std::vector(kSoundTracks, sound));
  if (!status.ok()) Fail(status.ToString());
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

class Layout {
 public:
  explicit Layout(const std::string& path) {
    const std::vector<uint8_t> head = Head(path);
    if (!file_.Create(path).ok() || !file_.Write(head).ok()) Fail("cannot write " + path);
    end_ = head.size();
  }

  void AddFragment(uint32_t track, uint64_t decode_time, const FragmentSample& sample,
                   uint32_t count) {
    samples_.assign(count, sample);
    samples_.front().sync = true;
    head_.clear();
    ByteWriter out(head_);
    WriteFragmentHead(out, ++sequence_number_, track, decode_time, samples_);
    if (!file_.WriteAt(end_, head_).ok()) Fail("cannot write a fragment's head");
    end_ += head_.size() + uint64_t{sample.size} * count;
  }

  // The file's last byte, and everything on the medium: writing it out is not the
  // repair's own work.
  void Close() {
    const uint8_t last = 0;
    if (!file_.WriteAt(end_ - 1, {&last, 1}).ok() || !file_.CommitToMedium().ok() ||
        !file_.Close().ok()) {
      Fail("cannot close the recording");
    }
  }

 private:
  OutputFile file_;
  uint64_t end_ = 0;
  uint32_t sequence_number_ = 0;
  std::vector<FragmentSample> samples_;
  std::vector<uint8_t> head_;
};

void MakeRecording(const std::string& path) {
  Layout layout(path);
  uint32_t frames = 0;
  for (uint32_t second = 0; second < kSeconds; ++second) {
    for (; frames + kFramesAFragment <= (second + 1) * kFps; frames += kFramesAFragment) {
      layout.AddFragment(1, uint64_t{frames} * kFrameTicks, {kFrameBytes, kFrameTicks, false},
                         kFramesAFragment);
    }
    for (uint32_t track = 2; track < 2 + kSoundTracks; ++track) {
      layout.AddFragment(track, uint64_t{second} * kSoundFrames * 1024, {kSoundBytes, 1024, true},
                         kSoundFrames);
    }
  }
  layout.Close();
}

class CountingSource : public IByteSource {
 public:
  explicit CountingSource(const std::string& path) {
    if (!file_.Open(path).ok() || !file_.Size(size_).ok()) Fail("cannot open " + path);
  }
  uint64_t Size() const override { return size_; }
  Status ReadAt(uint64_t offset, std::span<uint8_t> into) override {
    size_t read = 0;
    if (!file_.ReadAt(offset, into, read).ok()) Fail("cannot read the recording");
    bytes_read_ += read;
    return Status::Ok();
  }
  uint64_t bytes_read() const { return bytes_read_; }

 private:
  InputFile file_;
  uint64_t size_ = 0;
  uint64_t bytes_read_ = 0;
};

// Takes a repair back, for the next round.
void Interrupt(const std::string& path, const RepairPlan& plan) {
  std::vector<uint8_t> placeholder;
  ByteWriter out(placeholder);
  WriteLargeBoxHeader(out, FourCc("free"), kLargeBoxHeaderBytes);
  OutputFile file;
  if (!CutFile(path, plan.cut_point).ok() || !file.Continue(path).ok() ||
      !file.WriteAt(plan.header_offset, placeholder).ok() || !file.CommitToMedium().ok()) {
    Fail("cannot take the repair back");
  }
}

std::vector<Row> MeasureRepair() {
  const fs::path folder = fs::current_path() / "repair-bench.tmp";
  fs::create_directories(folder);
  const std::string path = (folder / "recording.mp4").string();
  MakeRecording(path);
  CountingSource source(path);
  RepairPlan plan;
  const PeakMemory peak;
  if (const Status status = PlanRepair(source, plan); !status.ok()) Fail(status.ToString());
  const double peak_mb = peak.GrowthMb();

  std::vector<double> seconds;
  for (int round = 0; round < kRounds; ++round) {
    if (round > 0) Interrupt(path, plan);
    const double began = Seconds();
    const Status status = FinishInterrupted(path);
    seconds.push_back(Seconds() - began);
    if (!status.ok()) Fail(status.ToString());
  }
  fs::remove_all(folder);
  return {{"repair.four_hours_s", Median(seconds)},
          {"repair.four_hours_read_mb", static_cast<double>(source.bytes_read()) / 1e6},
          {"repair.four_hours_peak_mb", peak_mb}};
}

const Register kRepair("repair", MeasureRepair);

}  // namespace
}  // namespace orventa::bench
