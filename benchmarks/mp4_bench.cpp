// Writing a clip of a minute at 40 Mbit/s against a plain write of the same bytes
// and against ffmpeg's copy of the same stream, and the memory that writing a
// two-hour clip takes whose payloads lie on the disk.
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <utility>

#include "base/files.h"
#include "benchmarks/bench.h"
#include "mp4/annexb.h"
#include "mp4/mp4.h"

namespace orventa::bench {
namespace {

namespace fs = std::filesystem;

constexpr uint64_t kFps = 60;
constexpr int kRounds = 15;

[[noreturn]] void Fail(const std::string& why) {
  std::fprintf(stderr, "bench: %s\n", why.c_str());
  std::exit(1);
}

// A folder on the drive of the working directory, since a memory file system
// would not be a drive.
class Folder {
 public:
  Folder() : path_(fs::current_path() / "mp4-bench.tmp") { fs::create_directories(path_); }
  ~Folder() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
  }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;
  std::string operator/(const char* name) const { return (path_ / name).string(); }

 private:
  fs::path path_;
};

std::vector<uint8_t> ReadAll(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

BufferedPacket At(uint64_t frame, bool keyframe) {
  BufferedPacket packet;
  packet.pts = packet.dts = frame * 1'000'000'000 / kFps;
  packet.keyframe = keyframe;
  return packet;
}

Mp4Movie EmptyMovie() {
  Mp4Movie movie;
  movie.video.width = 1920;
  movie.video.height = 1080;
  movie.video.fps_num = kFps;
  return movie;
}

// Two seconds from a real encoder, thirty times over: every packet in memory of
// its own.
Mp4Movie Minute(const Folder& folder) {
  const std::string piece = folder / "piece.h264";
  const std::string command =
      "ffmpeg -nostdin -v error -y -f lavfi -i testsrc2=s=1920x1080:r=60:d=2 -vf "
      "noise=alls=30:allf=t -c:v libx264 -preset ultrafast -bf 0 -g 120 -b:v 40M -maxrate 40M "
      "-bufsize 10M " +
      piece;
  if (std::system(command.c_str()) != 0) Fail("ffmpeg cannot encode");
  const std::vector<uint8_t> stream = ReadAll(piece);

  Mp4Movie movie = EmptyMovie();
  for (int repeat = 0; repeat < 30; ++repeat) {
    std::vector<uint8_t> frame;
    AnnexBUnits units(stream);
    for (std::span<const uint8_t> unit; units.Next(unit);) {
      frame.insert(frame.end(), {0, 0, 0, 1});
      frame.insert(frame.end(), unit.begin(), unit.end());
      const uint32_t type = H264UnitType(unit);
      if (type == 8 && movie.video.sequence_header.empty()) movie.video.sequence_header = frame;
      if (type != 1 && type != 5) continue;
      BufferedPacket packet = At(movie.packets.size(), type == 5);
      packet.payload = Payload::Copy(frame);
      movie.packets.push_back(std::move(packet));
      frame.clear();
    }
  }
  return movie;
}

void PlainWrite(const std::string& path, const Mp4Movie& movie) {
  FILE* file = std::fopen(path.c_str(), "wb");
  if (file == nullptr) Fail("cannot open " + path);
  for (const BufferedPacket& packet : movie.packets) {
    const auto bytes = packet.payload.bytes();
    if (std::fwrite(bytes.data(), 1, bytes.size(), file) != bytes.size()) Fail("cannot write");
  }
  if (std::fclose(file) != 0) Fail("cannot write");
}

void ClipWrite(const std::string& path, const Mp4Movie& movie) {
  const Status status = WriteMp4(path, movie);
  if (!status.ok()) Fail(status.ToString());
}

void Remux(const std::string& from, const std::string& to) {
  const std::string command = "ffmpeg -nostdin -v quiet -y -r 60 -i " + from + " -c copy " + to;
  if (std::system(command.c_str()) != 0) Fail("ffmpeg cannot copy");
}

template <class Work>
double Time(const std::string& path, Work work) {
  const double began = Seconds();
  work();
  const double took = Seconds() - began;
  fs::remove(path);  // and with it the pages that the system has not written yet
  return took;
}

// One after the other in turn and compared within a round, so that a busy machine
// is busy for both.
std::vector<Row> MeasureSpeed() {
  const Folder folder;
  const Mp4Movie movie = Minute(folder);
  const std::string stream = folder / "stream.h264";
  const std::string file = folder / "out.mp4";
  PlainWrite(stream, movie);
  std::vector<double> to_plain, to_remux;
  for (int round = 0; round < kRounds; ++round) {
    const double plain = Time(file, [&] { PlainWrite(file, movie); });
    const double clip = Time(file, [&] { ClipWrite(file, movie); });
    to_plain.push_back(clip / plain);
    if (round % 3 != 0) continue;
    to_remux.push_back(clip / Time(file, [&] { Remux(stream, file); }));
  }
  return {{"mp4.write_vs_copy", Median(to_plain)}, {"mp4.write_vs_remux", Median(to_remux)}};
}

// Payloads in a file, read again and again from the same few megabytes.
class FilePayloads : public IDeferredPayloads {
 public:
  static constexpr uint64_t kRowBytes = 4000;
  static constexpr uint64_t kRows = 4096;

  explicit FilePayloads(const std::string& path) {
    std::vector<uint8_t> row(kRowBytes, 0xAB);
    const uint8_t head[] = {0, 0, 0, 1, 0x65};
    std::copy(std::begin(head), std::end(head), row.begin());
    OutputFile out;
    bool fine = out.Create(path).ok();
    for (uint64_t i = 0; i < kRows; ++i) fine = fine && out.Write(row).ok();
    fine = fine && out.Close().ok() && in_.Open(path).ok();
    if (!fine) Fail("cannot make " + path);
  }

  Payload Read(uint64_t index) override {
    Payload payload = Payload::Allocate(kRowBytes);
    size_t read = 0;
    const FileResult result = in_.ReadAt(index % kRows * kRowBytes, payload.mutable_bytes(), read);
    return result.ok() && read == kRowBytes ? payload : Payload();
  }
  uint64_t Size(uint64_t) const override { return kRowBytes; }

 private:
  InputFile in_;
};

// The save's own budget: what the service gives the writer.
constexpr uint64_t kReadBudget = uint64_t{32} << 20;

std::vector<Row> MeasurePeak() {
  constexpr uint64_t kSeconds = 2 * 3600;
  const Folder folder;
  const auto payloads = std::make_shared<FilePayloads>(folder / "payloads");
  Mp4Movie movie = EmptyMovie();
  const uint8_t header[] = {0, 0, 0, 1, 0x67, 0x64, 0, 0x2A, 0xAC, 0, 0, 0, 1, 0x68, 0xEE};
  movie.video.sequence_header.assign(std::begin(header), std::end(header));
  movie.read_budget = kReadBudget;
  for (uint64_t i = 0; i < kSeconds * kFps; ++i) {
    BufferedPacket packet = At(i, i % 120 == 0);
    packet.deferred = payloads;
    packet.deferred_index = i;
    movie.packets.push_back(std::move(packet));
  }

  const PeakMemory peak;
  ClipWrite(folder / "out.mp4", movie);
  return {{"mp4.save_peak_mb", peak.GrowthMb()}};
}

const Register kSpeed("mp4", [] {
  std::vector<Row> rows = MeasurePeak();
  for (Row& row : MeasureSpeed()) rows.push_back(std::move(row));
  return rows;
});

}  // namespace
}  // namespace orventa::bench
