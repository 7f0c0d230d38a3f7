#include "mp4/annexb.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

#include "tests/mp4/clip_fixture.h"

namespace orventa {
namespace {

using test::Hex;
using Bytes = std::vector<uint8_t>;

std::vector<Bytes> Units(const Bytes& stream) {
  std::vector<Bytes> found;
  AnnexBUnits units(stream);
  for (std::span<const uint8_t> unit; units.Next(unit);)
    found.emplace_back(unit.begin(), unit.end());
  return found;
}

// The plain way: every position is looked at.
std::vector<Bytes> UnitsByBruteForce(const Bytes& stream) {
  std::vector<Bytes> found;
  bool inside = false;
  Bytes unit;
  const auto close = [&](bool at_code) {
    if (inside && at_code && !unit.empty() && unit.back() == 0) unit.pop_back();
    if (inside && !unit.empty()) found.push_back(unit);
    unit.clear();
  };
  for (size_t i = 0; i < stream.size();) {
    if (i + 3 <= stream.size() && stream[i] == 0 && stream[i + 1] == 0 && stream[i + 2] == 1) {
      close(true);
      inside = true;
      i += 3;
    } else {
      unit.push_back(stream[i++]);
    }
  }
  close(false);
  return found;
}

TEST(AnnexB, SplitsAsThePlainWayDoes) {
  std::mt19937 random(1);
  for (int round = 0; round < 4000; ++round) {
    // Mostly zeros and ones in short streams; nearly none in long ones.
    const bool dense = round % 2 == 0;
    Bytes stream(random() % (dense ? 80 : 700));
    for (auto& byte : stream) {
      byte = static_cast<uint8_t>(dense ? random() % 3 : random());
    }
    for (uint32_t codes = dense ? 0 : random() % 4; codes > 0 && stream.size() >= 4; --codes) {
      const size_t at = random() % (stream.size() - 3);
      stream[at] = stream[at + 1] = 0;
      stream[at + 2] = 1;
    }
    ASSERT_EQ(Units(stream), UnitsByBruteForce(stream)) << "round " << round;
  }
}

TEST(AnnexB, SamplesLeaveOutWhatTheConfigurationHolds) {
  const struct {
    Mp4Codec codec;
    const char* packet;
    uint64_t size;
    uint32_t units;
    size_t first;
  } kCases[] = {
      {Mp4Codec::H264, "00000001 09F0 00000001 67AA 000001 68BB 000001 65CCDD", 7, 1, 20},
      {Mp4Codec::H264, "00000001 06AA 000001 65BB", 12, 2, 4},
      {Mp4Codec::H264, "00000001 67AA 00000001 68BB 000001 09F0", 0, 0, 0},
      {Mp4Codec::H264, "000001 27AA 000001 61BB", 6, 1, 8},  // the reference bits do not count
      {Mp4Codec::Hevc, "00000001 4001 00000001 4201 000001 4401 000001 4601 000001 2601AF", 7, 1,
       25},
      {Mp4Codec::Hevc, "000001 4E01 000001 0201", 12, 2, 3},
  };
  for (const auto& c : kCases) {
    const Bytes packet = Hex(c.packet);
    const SampleLayout layout = MeasureSample(packet, c.codec);
    EXPECT_EQ(layout.size, c.size) << c.packet;
    EXPECT_EQ(layout.units, c.units) << c.packet;
    if (c.units > 0) {
      EXPECT_EQ(layout.first_unit, c.first) << c.packet;
    }
  }
}

}  // namespace
}  // namespace orventa
