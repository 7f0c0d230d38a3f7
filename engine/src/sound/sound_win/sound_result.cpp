#include "sound/sound_win/sound_result.h"

// After audioclient.h, which brings what it leans on.
#include <ksmedia.h>

#include <cstring>
#include <optional>

namespace orventa {
namespace {

struct TroubleRow {
  HRESULT result;
  SoundTrouble trouble;
};

constexpr TroubleRow kTroubles[] = {
    {E_ACCESSDENIED, SoundTrouble::Denied},  // the user's privacy settings, for a microphone
    {AUDCLNT_E_DEVICE_IN_USE, SoundTrouble::Busy},
    {AUDCLNT_E_EXCLUSIVE_MODE_ONLY, SoundTrouble::Busy},
    {AUDCLNT_E_CPUUSAGE_EXCEEDED, SoundTrouble::Busy},
    {HRESULT_FROM_WIN32(ERROR_BUSY), SoundTrouble::Busy},
    {AUDCLNT_E_DEVICE_INVALIDATED, SoundTrouble::NotFound},
    {HRESULT_FROM_WIN32(ERROR_NOT_FOUND), SoundTrouble::NotFound},
    {HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND), SoundTrouble::NotFound},
};

constexpr WORD kPcmTag = 1;
constexpr WORD kFloatTag = 3;
constexpr WORD kExtensibleTag = 0xFFFE;
constexpr WORD kExtensibleBytes = sizeof(WAVEFORMATEXTENSIBLE) - sizeof(WAVEFORMATEX);
static_assert(kExtensibleBytes == 22);

// An extensible format names a tag of the old kind by a GUID that begins with it.
std::optional<WORD> TagOf(const GUID& subformat) {
  static constexpr GUID kBase = {
      0, 0x0000, 0x0010, {0x80, 0x00, 0x00, 0xaa, 0x00, 0x38, 0x9b, 0x71}};
  if (std::memcmp(&subformat.Data2, &kBase.Data2, sizeof(GUID) - offsetof(GUID, Data2)) != 0 ||
      subformat.Data1 > MAXWORD) {
    return std::nullopt;
  }
  return static_cast<WORD>(subformat.Data1);
}

std::optional<SampleKind> KindOf(WORD tag, WORD bits) {
  if (tag == kFloatTag && bits == 32) return SampleKind::Float32;
  if (tag == kPcmTag && bits == 16) return SampleKind::Int16;
  return std::nullopt;
}

}  // namespace

SoundTrouble TroubleOf(HRESULT result) {
  for (const TroubleRow& row : kTroubles) {
    if (row.result == result) return row.trouble;
  }
  return SoundTrouble::Failed;
}

bool IsDeviceGone(HRESULT result) {
  return result == AUDCLNT_E_DEVICE_INVALIDATED || result == AUDCLNT_E_RESOURCES_INVALIDATED;
}

bool ReadWaveFormat(const WAVEFORMATEX& format, WaveShape& shape) {
  std::optional<WORD> tag = format.wFormatTag;
  uint32_t mask = 0;
  if (format.wFormatTag == kExtensibleTag) {
    if (format.cbSize < kExtensibleBytes) return false;
    WAVEFORMATEXTENSIBLE whole{};
    std::memcpy(&whole, &format, sizeof(whole));
    tag = TagOf(whole.SubFormat);
    mask = whole.dwChannelMask;
  }
  const std::optional<SampleKind> kind =
      tag ? KindOf(*tag, format.wBitsPerSample) : std::optional<SampleKind>();
  if (!kind || format.nChannels == 0 || format.nSamplesPerSec == 0 ||
      format.nBlockAlign != format.nChannels * (format.wBitsPerSample / 8)) {
    return false;
  }
  shape = {*kind, format.nChannels, mask, format.nSamplesPerSec};
  return true;
}

uint32_t OutputRate(uint32_t device_rate) {
  constexpr uint32_t kCdRate = 44100;
  constexpr uint32_t kUsualRate = 48000;
  return device_rate == kCdRate ? kCdRate : kUsualRate;
}

}  // namespace orventa
