// Our settings in the words of Media Foundation's encoders, and what their results mean.
// Pure functions, any thread.
#pragma once

#include "base/base_win/media_foundation.h"
#include "encoders/encoder.h"

namespace orventa {

// `call` names what was called in the message.
Status MfStatus(HRESULT result, const char* call);

const GUID& MfCodecSubtype(Codec codec);
const GUID& MfInputSubtype(EncoderInput input);

// From here on `settings` are as PlainCardSettings gives them.

// A property of the encoder, set before its types.
struct MfProperty {
  const GUID& id;
  const char* name;
  VARTYPE type;
  uint64_t value;
  // Whether an encoder that does not know it, or one that does and refuses the value,
  // can be used all the same.
  enum class Need { Always, IfKnown, Wish } need;
};
std::vector<MfProperty> MfProperties(const EncoderSettings& settings);

// The type of the packets that come out, and of the pictures that go in.
Status MakeMfPacketType(const MediaFoundation& mf, const EncoderSettings& settings,
                        Microsoft::WRL::ComPtr<IMFMediaType>& type);
Status MakeMfPictureType(const MediaFoundation& mf, const EncoderSettings& settings,
                         Microsoft::WRL::ComPtr<IMFMediaType>& type);

// How long a picture lasts, in ns.
uint64_t MfPictureNs(const EncoderSettings& settings);

}  // namespace orventa
