#include "encoders/mf/mf_players.h"

#include "base/base_win/media_foundation.h"
#include "encoders/mf/mf_options.h"

namespace orventa {

void MarkWhatPlays(const MediaFoundation& mf, MachineCodecs& codecs) {
  MfSession session(mf);
  if (!session.Start().ok()) return;
  for (const Codec codec : {Codec::Hevc, Codec::Av1}) {
    const MFT_REGISTER_TYPE_INFO input = {MFMediaType_Video, MfCodecSubtype(codec)};
    MfActivations found;
    const HRESULT result = mf.enumerate(MFT_CATEGORY_VIDEO_DECODER, MFT_ENUM_FLAG_ALL, &input,
                                        nullptr, &found.list, &found.count);
    if (SUCCEEDED(result)) codecs.at(static_cast<size_t>(codec)).plays = found.count > 0;
  }
}

}  // namespace orventa
