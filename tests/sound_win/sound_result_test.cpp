#include "sound/sound_win/sound_result.h"

#include <ksmedia.h>

#include <gtest/gtest.h>

#include <optional>

namespace orventa {
namespace {

constexpr GUID kFloat = {3, 0, 0x10, {0x80, 0, 0, 0xaa, 0, 0x38, 0x9b, 0x71}};
constexpr GUID kPcm = {1, 0, 0x10, {0x80, 0, 0, 0xaa, 0, 0x38, 0x9b, 0x71}};
constexpr GUID kOther = {3, 1, 0x10, {0x80, 0, 0, 0xaa, 0, 0x38, 0x9b, 0x71}};
constexpr WORD kExtensible = 0xFFFE;

struct FormatCase {
  const char* what;
  WORD tag;
  WORD channels;
  WORD bits;
  WORD frame_bytes;
  WORD extra_bytes;
  GUID subformat;
  std::optional<SampleKind> taken;
};

TEST(SoundResult, TakesFloatsAndSixteenBitsOnly) {
  constexpr SampleKind kF = SampleKind::Float32;
  constexpr SampleKind kI = SampleKind::Int16;
  const FormatCase cases[] = {
      {"floats", 3, 2, 32, 8, 0, {}, kF},
      {"16 bits", 1, 2, 16, 4, 0, {}, kI},
      {"extensible floats", kExtensible, 6, 32, 24, 22, kFloat, kF},
      {"extensible 16 bits", kExtensible, 8, 16, 16, 22, kPcm, kI},
      {"24 bits", kExtensible, 2, 24, 6, 22, kPcm, {}},
      {"32 bits that are no floats", kExtensible, 2, 32, 8, 22, kPcm, {}},
      {"doubles", 3, 2, 64, 16, 0, {}, {}},
      {"another kind", kExtensible, 2, 32, 8, 22, kOther, {}},
      {"cut short", kExtensible, 2, 32, 8, 21, kFloat, {}},
      {"no channels", 3, 0, 32, 0, 0, {}, {}},
      {"padded frames", 1, 2, 16, 8, 0, {}, {}},
  };
  for (const FormatCase& c : cases) {
    SCOPED_TRACE(c.what);
    WAVEFORMATEXTENSIBLE format{};
    format.Format.wFormatTag = c.tag;
    format.Format.nChannels = c.channels;
    format.Format.nSamplesPerSec = 44100;
    format.Format.nBlockAlign = c.frame_bytes;
    format.Format.wBitsPerSample = c.bits;
    format.Format.cbSize = c.extra_bytes;
    format.dwChannelMask = 0x60F;
    format.SubFormat = c.subformat;
    WaveShape shape;
    ASSERT_EQ(ReadWaveFormat(format.Format, shape), c.taken.has_value());
    if (!c.taken) continue;
    EXPECT_EQ(shape.kind, *c.taken);
    EXPECT_EQ(shape.channels, c.channels);
    EXPECT_EQ(shape.rate, 44100u);
    EXPECT_EQ(shape.mask, c.tag == kExtensible ? 0x60Fu : 0u);
  }
}

TEST(SoundResult, SaysWhatIsWrongWithADevice) {
  EXPECT_EQ(TroubleOf(static_cast<HRESULT>(0x80070005)), SoundTrouble::Denied);
  EXPECT_EQ(TroubleOf(static_cast<HRESULT>(0x8889000A)), SoundTrouble::Busy);
  EXPECT_EQ(TroubleOf(static_cast<HRESULT>(0x80070490)), SoundTrouble::NotFound);
  EXPECT_EQ(TroubleOf(E_NOTIMPL), SoundTrouble::Failed);
  EXPECT_TRUE(IsDeviceGone(static_cast<HRESULT>(0x88890004)));
  EXPECT_TRUE(IsDeviceGone(static_cast<HRESULT>(0x88890026)));
  EXPECT_FALSE(IsDeviceGone(static_cast<HRESULT>(0x88890010)));
}

}  // namespace
}  // namespace orventa
