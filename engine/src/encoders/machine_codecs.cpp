#include "encoders/machine_codecs.h"

#include "base/text.h"

namespace orventa {
namespace {

// A processor that also runs a game keeps up with H.264 only.
bool IsFast(const IEncoderBackend& backend, const CodecCaps& caps) {
  if (caps.max_width < 1920 || caps.max_height < 1080) return false;
  return backend.UsesHardware() || caps.codec == Codec::H264;
}

}  // namespace

MachineCodecs FindMachineCodecs(const BackendList& backends, GraphicsDevice* device) {
  MachineCodecs codecs;
  if (device == nullptr || EnvironmentSwitch("ORVENTA_NO_ENCODER")) return codecs;
  for (IEncoderBackend* backend : backends) {
    EncoderCaps caps;
    if (!backend->Supports(*device) || !backend->Probe(*device, caps).ok()) continue;
    for (const CodecCaps& row : caps.codecs) {
      CodecMeans& means = codecs.at(static_cast<size_t>(row.codec));
      const bool fast = IsFast(*backend, row);
      // What a slow encoder adds must not be wished of a fast one: the slow one
      // would get the work.
      if (fast && !means.fast) means.ten_bit = false;
      if (fast || !means.fast) means.ten_bit = means.ten_bit || row.ten_bit;
      means.encodes = true;
      means.fast = means.fast || fast;
    }
  }
  return codecs;
}

}  // namespace orventa
