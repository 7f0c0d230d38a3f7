#include "video/clip_saver.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <new>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/fakes/fake_clock.h"
#include "tests/fakes/temp_folder.h"
#include "tests/history/packets.h"
#include "tests/mp4/box_walker.h"

namespace orventa {
namespace {

constexpr uint64_t kFrame = kSecond / 60;
constexpr uint64_t kStart = 100 * kSecond;

// Parameter sets of H.264 baseline.
const std::vector<uint8_t> kHeader = {0,    0,    0,    1,    0x67, 0x42, 0xC0, 0x1F, 0xDA,
                                      0x01, 0x40, 0x16, 0xE9, 0xA8, 0x08, 0x08, 0x0A, 0,
                                      0,    0,    1,    0x68, 0xCE, 0x3C, 0x80};

EncodedPacket Frame(uint64_t index) {
  const bool keyframe = index % 30 == 0;
  std::vector<uint8_t> bytes = {0, 0, 0, 1, static_cast<uint8_t>(keyframe ? 0x65 : 0x41)};
  bytes.resize(200, static_cast<uint8_t>(1 + index % 200));
  EncodedPacket packet;
  packet.data = Payload::Copy(bytes);
  packet.pts = packet.dts = static_cast<int64_t>(kStart + index * kFrame);
  packet.keyframe = keyframe;
  return packet;
}

class ClipSaver : public testing::Test {
 protected:
  ClipSaver() {
    sources_.config.storage.replay.directory = temp_ / "clips";
    sources_.seconds = 3;
    sources_.video.width = 1280;
    sources_.video.height = 720;
    sources_.video.sequence_header = kHeader;
    sources_.history = ReplayBuffer::Create({});
  }

  void AppendFrames(uint64_t count) {
    for (uint64_t i = 0; i < count; ++i) sources_.history->Append(Frame(i));
  }

  AudioReplayBuffer& AddSoundTrack(uint8_t config = 0x11) {
    sources_.sound.push_back(
        {{48'000, 2, {config, 0x90}, false}, std::make_shared<AudioReplayBuffer>()});
    return *sources_.sound.back().packets;
  }
  // Packets of 20 ms from the clip's beginning on.
  static void AppendSound(AudioReplayBuffer& sound, uint64_t end, uint64_t first = 0) {
    for (uint64_t i = first; i < end; ++i) {
      sound.Append(MakePacket(kStart + i * (kSecond / 50), true, 40));
    }
  }

  Status Save() { return SaveClip(sources_, KnownFolders(), clock_, saved_); }

  // Saves and reads the file.
  std::string SavedBytes() {
    const Status status = Save();
    EXPECT_TRUE(status.ok()) << status.ToString();
    std::ifstream file(saved_.path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }

  // Samples of each track.
  static std::vector<size_t> SampleCounts(const std::string& bytes) {
    const std::vector<uint8_t> file(bytes.begin(), bytes.end());
    std::vector<size_t> counts;
    for (;;) {
      const std::string trak = "moov/trak[" + std::to_string(counts.size()) + "]";
      if (!test::Has(file, trak)) return counts;
      counts.push_back(test::Samples(file, trak).size());
    }
  }

  TempFolder temp_;
  FakeClock clock_;
  ClipSources sources_;
  SavedClip saved_;
};

using Counts = std::vector<size_t>;

TEST_F(ClipSaver, RefusesInOrder) {
  sources_.no_encoder = true;
  sources_.history = nullptr;
  EXPECT_EQ(Save(), Status(StatusCode::NoEncoder, "no video encoder to record with"));
  sources_.no_encoder = false;
  EXPECT_EQ(Save(), Status(StatusCode::InvalidArgument, "engine is not running"));
  sources_.history = ReplayBuffer::Create({});
  EXPECT_EQ(Save(), Status(StatusCode::InvalidArgument, "no replay held yet"));
  EXPECT_FALSE(std::filesystem::exists(temp_ / "clips"));
}

TEST_F(ClipSaver, WritesTheNewestSecondsFromAKeyframe) {
  AppendFrames(600);
  sources_.notes.NoteTarget({kStart, "Some: Game", "", true}, false);
  sources_.notes.NoteWallClock({0, FakeClock::kWallStartMs});
  const std::string bytes = SavedBytes();
  // The newest frame is number 599; the first keyframe at most 3 s before it is 420.
  EXPECT_EQ(SampleCounts(bytes), (Counts{180}));
  EXPECT_EQ(saved_.name, "Some: Game");
  EXPECT_EQ(saved_.wall_ms, FakeClock::kWallStartMs + 109'999);
  EXPECT_EQ(saved_.folder, temp_ / "clips");
  EXPECT_EQ(saved_.fallback, "");
  EXPECT_EQ(TempFolder::Names(temp_ / "clips"), (std::vector<std::string>{"Some_ Game"}));
  EXPECT_EQ(TempFolder::Names(temp_ / "clips/Some_ Game"),
            (std::vector<std::string>{"ORVENTA Replay 17-05-2024 12-01-49.mp4"}));
  EXPECT_EQ(clock_.SteadyNs(), FakeClock::kSteadyStartNs);  // no sound, no wait

  sources_.seconds = 1000;  // more than there is
  EXPECT_EQ(SampleCounts(SavedBytes()), (Counts{600}));
  EXPECT_EQ(FileName(saved_.path), "ORVENTA Replay 17-05-2024 12-01-49 (2).mp4");
}

TEST_F(ClipSaver, ReadsAHistoryOnDisk) {
  ReplayBufferOptions options;
  options.directory = temp_ / "ring";
  sources_.history = ReplayBuffer::Create(options);
  AppendFrames(300);
  const std::string bytes = SavedBytes();
  EXPECT_EQ(SampleCounts(bytes), (Counts{180}));
  EXPECT_NE(bytes.find(std::string(195, static_cast<char>(1 + 299 % 200))), std::string::npos);
}

TEST_F(ClipSaver, WaitsForSoundThatTrails) {
  AppendFrames(180);
  AudioReplayBuffer& sound = AddSoundTrack();
  AppendSound(sound, 140);
  clock_.After(75 * kNsPerMs, [&] { AppendSound(sound, 160, 140); });
  EXPECT_EQ(SampleCounts(SavedBytes()), (Counts{180, 150}));
  EXPECT_EQ(clock_.SteadyNs(), FakeClock::kSteadyStartNs + 80 * kNsPerMs);
}

TEST_F(ClipSaver, GoesWithoutSoundThatDoesNotCome) {
  AppendFrames(180);
  AppendSound(AddSoundTrack(), 10);
  AddSoundTrack();                              // empty
  AddSoundTrack().Append(MakePacket(1, true));  // long over
  sources_.sound.push_back({{48'000, 2, {}, false}, std::make_shared<AudioReplayBuffer>()});
  sources_.sound.push_back({{48'000, 2, {0x11, 0x90}, false}, nullptr});
  EXPECT_EQ(SampleCounts(SavedBytes()), (Counts{180, 10}));
  EXPECT_EQ(clock_.SteadyNs(), FakeClock::kSteadyStartNs + 250 * kNsPerMs);
}

TEST_F(ClipSaver, AsksForWhatBelongsToTheSpan) {
  AppendFrames(180);
  const uint64_t end = kStart + 179 * kFrame + kSecond / 60;
  std::vector<uint64_t> asked;
  sources_.light_levels = [&](uint64_t from, uint64_t to) {
    asked.insert(asked.end(), {from, to});
    return std::pair<uint16_t, uint16_t>(1000, 400);
  };
  sources_.presses = [&](uint64_t from, uint64_t to) {
    asked.insert(asked.end(), {from, to});
    return Mp4Presses{1, {'p', 'r', 'e', 's', 's', 'e', 'd'}};
  };
  EXPECT_NE(SavedBytes().find("pressed"), std::string::npos);
  EXPECT_EQ(asked, (std::vector<uint64_t>{kStart, end, kStart, end}));
}

TEST_F(ClipSaver, MarksAreNumberedWithinTheClip) {
  AppendFrames(600);
  const uint64_t first = kStart + 420 * kFrame;
  const uint64_t last = kStart + 599 * kFrame;
  for (const uint64_t pts : {kStart, first + 5, first, last, last + 1}) {
    sources_.notes.AddMarker(pts, 0, 0);
  }
  ClipEvent event;
  event.name = "early-kill";
  event.pts = first - 1;
  sources_.notes.AddEvent(event, 0, 0);
  event.name = "kill";
  event.pts = last;
  sources_.notes.AddEvent(event, 0, 0);
  const std::string bytes = SavedBytes();
  EXPECT_NE(bytes.find("Marker 3"), std::string::npos);
  EXPECT_EQ(bytes.find("Marker 4"), std::string::npos);
  EXPECT_LT(bytes.find("Marker 1"), bytes.find("Marker 2"));
  EXPECT_NE(bytes.find("kill"), std::string::npos);
  EXPECT_EQ(bytes.find("early-kill"), std::string::npos);
}

TEST_F(ClipSaver, TakesTheWebcamOnlyWhileItsHeaderHolds) {
  AppendFrames(180);
  auto webcam = std::make_shared<Mp4WebcamTrack>();
  webcam->width = 640;
  webcam->height = 360;
  webcam->sequence_header = kHeader;
  sources_.webcam = webcam;
  sources_.webcam_history = ReplayBuffer::Create({});
  EXPECT_EQ(SampleCounts(SavedBytes()), (Counts{180}));  // it holds nothing
  for (uint64_t i = 0; i < 120; ++i) sources_.webcam_history->Append(Frame(i));
  EXPECT_EQ(SampleCounts(SavedBytes()), (Counts{180, 120}));
  bool in_force = true;
  sources_.webcam_header_in_force = [&](const std::vector<uint8_t>& header) {
    EXPECT_EQ(header, kHeader);
    return in_force;
  };
  EXPECT_EQ(SampleCounts(SavedBytes()), (Counts{180, 120}));
  in_force = false;
  EXPECT_EQ(SampleCounts(SavedBytes()), (Counts{180}));
}

TEST_F(ClipSaver, FailuresLeaveNoFile) {
  AppendFrames(180);
  sources_.config.storage.folder_per_game = false;
  sources_.light_levels = [](uint64_t, uint64_t) -> std::pair<uint16_t, uint16_t> {
    throw std::bad_alloc();
  };
  EXPECT_EQ(Save(),
            Status(StatusCode::DriverError, "there was not enough memory to save the replay"));
  sources_.light_levels = [](uint64_t, uint64_t) -> std::pair<uint16_t, uint16_t> {
    throw std::runtime_error("odd");
  };
  EXPECT_EQ(Save(), Status(StatusCode::DriverError, "the replay could not be saved"));
  sources_.light_levels = nullptr;

  sources_.video.sequence_header = {0, 0, 1};  // the writer has a word to say
  const Status status = Save();
  EXPECT_FALSE(status.ok());
  EXPECT_NE(status.message(), "the replay could not be saved");
  EXPECT_TRUE(TempFolder::Names(temp_ / "clips").empty());

  sources_.config.storage.replay.directory.clear();  // and no known folder either
  EXPECT_NE(Save().message().find("no writable output directory"), std::string::npos);
}

TEST_F(ClipSaver, ReportsTheFolderItFellBackTo) {
  AppendFrames(60);
  std::ofstream(temp_ / "file") << "x";
  sources_.config.storage.replay.directory = temp_ / "file";
  KnownFolders folders;
  folders.videos = temp_ / "videos";
  ASSERT_TRUE(SaveClip(sources_, folders, clock_, saved_).ok());
  EXPECT_EQ(saved_.folder, JoinPath(folders.videos, "ORVENTA"));
  EXPECT_EQ(saved_.fallback, "could not write to " + (temp_ / "file") +
                                 "; falling back to default folder for this kind");
  EXPECT_TRUE(FileExists(saved_.path));
}

struct NamingCase {
  const char* what;
  std::vector<TargetPeriod> periods;
  const char* name;
  uint64_t moment;
};

// The clip lasts from 100 to 200.
TEST(NameClip, TheLongestWindowWins) {
  const std::vector<NamingCase> cases = {
      {"nothing known", {}, "Current", 200},
      {"all of it", {{0, "A", "", true}}, "A", 200},
      {"longer later", {{0, "A", "", true}, {140, "B", "", true}}, "B", 200},
      {"longer first", {{0, "A", "", true}, {160, "B", "", true}}, "A", 160},
      {"a tie", {{0, "A", "", true}, {150, "B", "", true}}, "A", 150},
      {"before the clip", {{0, "A", "", true}, {100, "B", "", true}}, "B", 200},
      {"after the clip", {{0, "A", "", true}, {200, "B", "", true}}, "A", 200},
      {"a window beats a display", {{0, "D", "", false}, {199, "A", "", true}}, "A", 200},
      {"a display alone", {{0, "D", "", false}}, "Monitor", 200},
      {"in the middle", {{0, "A", "", true}, {120, "B", "", true}, {180, "A", "", true}}, "B", 180},
  };
  for (const NamingCase& c : cases) {
    ClipSources sources;
    sources.target_name = "Current";
    sources.target_is_window = true;
    for (const TargetPeriod& period : c.periods) sources.notes.NoteTarget(period, true);
    const ClipNaming naming = NameClip(sources, 100, 200);
    EXPECT_EQ(naming.name, c.name) << c.what;
    EXPECT_EQ(naming.moment, c.moment) << c.what;
    sources.config.storage.folder_per_game = false;
    EXPECT_EQ(NameClip(sources, 100, 200).name, "") << c.what;
  }
  ClipSources display;
  display.target_name = "DELL U2720Q";
  EXPECT_EQ(NameClip(display, 100, 200).name, "Monitor");
}

}  // namespace
}  // namespace orventa
