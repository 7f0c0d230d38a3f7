// Intel's encoder (Quick Sync) on textures of a Direct3D 11 device, by the transform
// that its driver gives to Media Foundation.
//   mf_names.h       what the import headers lack
//   mf_options.cpp   our settings in the words of Media Foundation
//   mf_events.cpp    what a transform tells of itself
//   mf_transform.cpp the transform: finding it, setting it up, pictures in and packets out
//   mf_encoder.cpp   one encoder at work
//   mf_backend.cpp   what there is on an adapter
//
// Wine has Media Foundation, a device manager and textures as samples, but no transform
// of a card and no P010, so this has run against a transform that the tests bring, and
// not on Intel's. Not measured there: whether the header stands in the type from the
// start (else LearnHeader encodes one picture to see it), by how much times are rounded
// (half a picture is allowed), and whether HDR metadata of the types reaches the stream.
#pragma once

#include "encoders/encoders_win/card_backend.h"

namespace orventa {

struct MediaFoundation;

extern const Card<MediaFoundation> kQsvCard;
using QsvBackend = CardBackend<MediaFoundation, kQsvCard>;

}  // namespace orventa
