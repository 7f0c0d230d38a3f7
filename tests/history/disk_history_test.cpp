#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "tests/fakes/temp_folder.h"
#include "tests/history/packets.h"
#include "video/payload_files.h"
#include "video/replay_buffer.h"

namespace orventa {
namespace {

constexpr size_t kMiB = 1U << 20U;
using Names = std::vector<std::string>;

ReplayBufferOptions OnDisk(const std::string& directory, uint32_t seconds = 600,
                           uint64_t max_bytes = uint64_t{1} << 40U) {
  ReplayBufferOptions options;
  options.seconds = seconds;
  options.max_bytes = max_bytes;
  options.directory = directory;
  return options;
}

void WriteText(const std::string& path, const std::string& text) {
  std::ofstream(path, std::ios::binary) << text;
}

std::string ReadText(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

// A group of 16 packets of 4.5 MiB: more than a file holds before it is full.
void AppendLargeGroup(ReplayBuffer& history, uint64_t start) {
  for (uint64_t i = 0; i < 16; ++i) {
    history.Append(MakePacket(start + i * (kSecond / 16), i == 0, kMiB * 9 / 2));
  }
}

void ExpectReadable(const std::vector<BufferedPacket>& packets) {
  for (const BufferedPacket& packet : packets) {
    ASSERT_TRUE(HasPattern(packet.Load(), packet.pts, packet.Size())) << packet.pts;
  }
}

TEST(DiskHistory, WritesRawAccessUnitsEndToEnd) {
  TempFolder folder;
  auto history = ReplayBuffer::Create(OnDisk(folder / "a/b"));
  EncodedPacket packet;
  packet.keyframe = true;
  for (const std::string text : {"key", "", "frame"}) {
    packet.data = Payload::Copy({reinterpret_cast<const uint8_t*>(text.data()), text.size()});
    history->Append(packet);
    packet.keyframe = false;
    packet.pts += 5;
  }
  EXPECT_EQ(ReadText(folder / "a/b/orventa-buffer-0.bin"), "keyframe");
  EXPECT_TRUE(history->Stats().on_disk);
  EXPECT_EQ(history->Stats().bytes, 8U);
  std::vector<BufferedPacket> packets;
  ASSERT_TRUE(history->Snapshot(1, packets, PayloadAccess::Later));
  ASSERT_EQ(packets.size(), 3U);
  EXPECT_FALSE(packets[2].payload);
  EXPECT_EQ(packets[2].Size(), 5U);
  const Payload last = packets[2].Load();
  EXPECT_EQ(std::string(last.bytes().begin(), last.bytes().end()), "frame");
  EXPECT_TRUE(packets[1].Load());
  EXPECT_EQ(packets[1].Size(), 0U);
  for (const uint64_t no_packet : {uint64_t{3}, uint64_t{1} << 32U, UINT64_MAX}) {
    EXPECT_EQ(packets[0].deferred->Size(no_packet), 0U);
    EXPECT_FALSE(packets[0].deferred->Read(no_packet));
  }
}

TEST(DiskHistory, SweepsOnlyItsOwnStaleFiles) {
  TempFolder folder;
  const std::string ring = folder / "ring";
  std::filesystem::create_directories(ring + "/orventa-buffer-9.bin");  // a folder, not ours
  for (const char* name :
       {"orventa-buffer-7.bin", "orventa-buffer-7.txt", "orventa-webcam-7.bin"}) {
    WriteText(ring + "/" + name, "x");
  }
  auto history = ReplayBuffer::Create(OnDisk(ring));
  EXPECT_EQ(TempFolder::Names(ring),
            (Names{"orventa-buffer-7.txt", "orventa-buffer-9.bin", "orventa-webcam-7.bin"}));
  AppendSeconds(*history, 0, 2);
  history.reset();
  EXPECT_EQ(TempFolder::Names(ring),
            (Names{"orventa-buffer-7.txt", "orventa-buffer-9.bin", "orventa-webcam-7.bin"}));
}

TEST(DiskHistory, ChangesFilesOnlyAtKeyframes) {
  TempFolder folder;
  auto history = ReplayBuffer::Create(OnDisk(folder.path()));
  AppendLargeGroup(*history, 0);
  EXPECT_EQ(TempFolder::Names(folder.path()), (Names{"orventa-buffer-0.bin"}));
  EXPECT_EQ(std::filesystem::file_size(folder / "orventa-buffer-0.bin"), 72 * kMiB);
  AppendSeconds(*history, kSecond, 5);
  EXPECT_EQ(std::filesystem::file_size(folder / "orventa-buffer-1.bin"), 2000U);
  std::vector<BufferedPacket> packets;
  ASSERT_TRUE(history->Snapshot(600, packets, PayloadAccess::Now));
  EXPECT_EQ(packets.size(), 36U);
  ExpectReadable(packets);
}

TEST(DiskHistory, AFileThatASnapshotNeedsOutlivesItsGroups) {
  TempFolder folder;
  auto history = ReplayBuffer::Create(OnDisk(folder.path(), 1));
  AppendLargeGroup(*history, 0);
  std::vector<BufferedPacket> first;
  std::vector<BufferedPacket> second;
  ASSERT_TRUE(history->Snapshot(600, first, PayloadAccess::Later));
  ASSERT_TRUE(history->Snapshot(600, second, PayloadAccess::Later));
  AppendSeconds(*history, 10 * kSecond, 3);
  EXPECT_EQ(history->Stats().groups, 2U);
  const Names both{"orventa-buffer-0.bin", "orventa-buffer-1.bin"};
  EXPECT_EQ(TempFolder::Names(folder.path()), both);
  first.clear();
  EXPECT_EQ(TempFolder::Names(folder.path()), both);
  ExpectReadable(second);
  second.clear();
  EXPECT_EQ(TempFolder::Names(folder.path()), (Names{"orventa-buffer-1.bin"}));
  EXPECT_EQ(history->Stats().disk_failures, 0U);
}

TEST(DiskHistory, TwoHistoriesShareAFolderWithoutHarm) {
  TempFolder folder;
  auto old = ReplayBuffer::Create(OnDisk(folder.path()));
  AppendSeconds(*old, 0, 3);
  std::vector<BufferedPacket> packets;
  ASSERT_TRUE(old->Snapshot(600, packets, PayloadAccess::Later));
  old->Clear();
  old.reset();  // a save keeps it
  auto fresh = ReplayBuffer::Create(OnDisk(folder.path()));
  AppendSeconds(*fresh, 100 * kSecond, 3);
  ExpectReadable(packets);
  packets.clear();
  ASSERT_TRUE(fresh->Snapshot(600, packets, PayloadAccess::Now));
  ASSERT_EQ(packets.size(), 12U);
  ExpectReadable(packets);
  packets.clear();
  fresh.reset();
  EXPECT_TRUE(TempFolder::Names(folder.path()).empty());
}

TEST(DiskHistory, MovesBetweenFoldersAndMemory) {
  TempFolder folder;
  auto history = ReplayBuffer::Create(OnDisk(folder / "one"));
  AppendSeconds(*history, 0, 3);
  std::vector<BufferedPacket> kept;
  ASSERT_TRUE(history->Snapshot(600, kept, PayloadAccess::Later));
  EXPECT_FALSE(history->Reconfigure(OnDisk(folder / "one", 700)));
  EXPECT_TRUE(history->Reconfigure(OnDisk(folder / "two")));
  EXPECT_EQ(history->Stats().packets, 0U);
  AppendSeconds(*history, 10 * kSecond, 3);
  EXPECT_EQ(TempFolder::Names(folder / "two").size(), 1U);
  ExpectReadable(kept);
  kept.clear();
  EXPECT_TRUE(TempFolder::Names(folder / "one").empty());
  EXPECT_TRUE(history->Reconfigure(OnDisk("")));
  EXPECT_TRUE(TempFolder::Names(folder / "two").empty());
  EXPECT_FALSE(history->Stats().on_disk);
  EXPECT_FALSE(history->Reconfigure(OnDisk(folder / "two")));  // nothing was held
  EXPECT_TRUE(history->Stats().on_disk);
}

TEST(DiskHistory, StaysInMemoryWithoutAFolder) {
  TempFolder folder;
  WriteText(folder / "ring", "a file in the folder's place");
  auto history = ReplayBuffer::Create(OnDisk(folder / "ring"));
  EXPECT_FALSE(history->Stats().on_disk);
  AppendSeconds(*history, 0, 12);
  EXPECT_FALSE(history->Reconfigure(OnDisk(folder / "ring")));
  EXPECT_EQ(history->Stats().packets, 48U);
  std::filesystem::remove(folder / "ring");
  history->Clear();
  EXPECT_FALSE(history->Reconfigure(OnDisk(folder / "ring")));
  EXPECT_TRUE(history->Stats().on_disk);
}

TEST(DiskHistory, AFileThatCannotBeMadeCostsOneGroup) {
  TempFolder folder;
  auto history = ReplayBuffer::Create(OnDisk(folder.path()));
  AppendLargeGroup(*history, 0);
  std::filesystem::create_directory(folder / "orventa-buffer-1.bin");
  AppendSeconds(*history, kSecond, 2);
  const ReplayBufferStats stats = history->Stats();
  EXPECT_EQ(stats.disk_failures, 1U);
  EXPECT_EQ(stats.packets_refused, 3U);
  std::vector<BufferedPacket> packets;
  ASSERT_TRUE(history->Snapshot(600, packets, PayloadAccess::Now));
  ASSERT_EQ(packets.size(), 20U);
  EXPECT_EQ(packets[16].pts, 2 * kSecond);
  ExpectReadable(packets);
}

}  // namespace
}  // namespace orventa
