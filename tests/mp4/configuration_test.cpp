#include "mp4/configuration.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/mp4/clip_fixture.h"

namespace orventa {
namespace {

using test::Hex;

// Main 10 at level 2, as an encoder wrote them: emulation prevention inside.
constexpr const char* kVps = "40010C01FFFF022000000300900000030000 03003CBA0240";
constexpr const char* kSps =
    "42010102200000030090000003000003003CA00A080C1F3B65BA4A4C2F0168080000030008000003 00F040";
constexpr const char* kPps = "4401C073C189";

Mp4VideoTrack Track(Mp4Codec codec, const std::string& header_hex) {
  Mp4VideoTrack track;
  track.codec = codec;
  track.sequence_header = Hex(header_hex);
  return track;
}

std::string HevcHeader(const std::string& vps, const std::string& sps, const std::string& pps) {
  return (vps.empty() ? "" : "00000001" + vps) + (sps.empty() ? "" : "00000001" + sps) +
         (pps.empty() ? "" : "000001" + pps);
}

TEST(Configuration, RecordsAreTheseBytes) {
  Mp4VideoTrack ten_bit_av1 = Track(Mp4Codec::Av1, "0A0B000000043CFECCFBF94040");
  ten_bit_av1.bit_depth = 1;
  const struct {
    const char* what;
    Mp4VideoTrack track;
    std::string record;
  } kCases[] = {
      {"H.264 with two PPS and an AUD before them",
       Track(Mp4Codec::H264, "00000001 09F0 00000001 6764001FAC 000001 68EE3C80 000001 68EF"),
       "01 64001F FF E1 0005 6764001FAC 02 0004 68EE3C80 0002 68EF"},
      {"HEVC", Track(Mp4Codec::Hevc, HevcHeader(kVps, kSps, kPps)),
       std::string("01 02 20000000 900000000000 3C F000 FC FD FA FA 0000 0F 03") + "A0 0001 0018" +
           kVps + "A1 0001 002B" + kSps + "A2 0001 0006" + kPps},
      {"AV1 with ten bits", ten_bit_av1, "81 00 4C 00 0A0B000000043CFECCFBF94040"},
      // profile 1, level 8 and so with a tier: 001 0 0 0 0 00000 (12 zeros) 01000 1
      {"AV1 of the high tier, OBU without a size", Track(Mp4Codec::Av1, "08 20 00 00 44"),
       "81 28 8C 00 08 20 00 00 44"},
      // profile 0, still, reduced, level 9: 000 1 1 010 01
      {"AV1 with a reduced header and an extension byte", Track(Mp4Codec::Av1, "0E 00 02 1A 40"),
       "81 09 0C 00 0E 00 02 1A 40"},
  };
  for (const auto& c : kCases) {
    VideoConfiguration configuration;
    const Status status = BuildConfiguration(c.track, configuration);
    EXPECT_TRUE(status.ok()) << c.what << ": " << status.ToString();
    EXPECT_EQ(configuration.record, Hex(c.record)) << c.what;
  }
}

TEST(Configuration, RefusalsSayWhy) {
  constexpr const char* kNoSets = "sequence header contains no SPS/PPS -- cannot build avcC";
  constexpr const char* kMissing = "HEVC sequence header is missing VPS, SPS or PPS";
  constexpr const char* kBadSps = "could not parse the HEVC SPS";
  const std::string big_pps = "68" + std::string(2 * 65535, '7');
  const struct {
    Mp4Codec codec;
    std::string header;
    const char* message;
  } kCases[] = {
      {Mp4Codec::H264, "", kNoSets},
      {Mp4Codec::H264, "00000001 6764001FAC", kNoSets},
      {Mp4Codec::H264, "00000001 68EE3C80", kNoSets},
      {Mp4Codec::H264, "6764001FAC 68EE3C80", kNoSets},
      {Mp4Codec::H264, "00000001 676400 000001 68EE", "SPS too short"},
      {Mp4Codec::H264, "000001 6764001F 000001" + big_pps, "parameter sets too large for avcC"},
      {Mp4Codec::Hevc, HevcHeader("", kSps, kPps), kMissing},
      {Mp4Codec::Hevc, HevcHeader(kVps, "", kPps), kMissing},
      {Mp4Codec::Hevc, HevcHeader(kVps, kSps, ""), kMissing},
      {Mp4Codec::Hevc, HevcHeader(kVps, "42", kPps), kBadSps},
      {Mp4Codec::Hevc, HevcHeader(kVps, "4201010220000003009000", kPps), kBadSps},
      // all exp-Golomb codes endless
      {Mp4Codec::Hevc, HevcHeader(kVps, "420101" + std::string(200, '0'), kPps), kBadSps},
      {Mp4Codec::Av1, "", "empty AV1 sequence header"},
      {Mp4Codec::Av1, "0A", "malformed AV1 sequence header"},
      {Mp4Codec::Av1, "08", "malformed AV1 sequence header"},
      {Mp4Codec::Av1, "0A00", "malformed AV1 sequence header"},
      {Mp4Codec::Av1, "0AFFFFFFFFFFFFFFFFFFFF", "malformed AV1 sequence header"},
      {Mp4Codec::Av1, "1200", "malformed AV1 sequence header"},  // a temporal delimiter
      {Mp4Codec::Av1, "0A0B 0000", "could not parse the AV1 sequence header"},
      {Mp4Codec::Av1, "0A03 040000",
       "AV1 sequence header carries timing info, which is not handled"},
  };
  for (const auto& c : kCases) {
    VideoConfiguration configuration;
    const Status status = BuildConfiguration(Track(c.codec, c.header), configuration);
    EXPECT_EQ(status, Status(StatusCode::InvalidArgument, c.message))
        << c.header.substr(0, 80) << " gave " << status.ToString();
  }
}

}  // namespace
}  // namespace orventa
