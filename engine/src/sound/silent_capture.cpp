#include "sound/silent_capture.h"

namespace orventa {

Status SilentCapture::Start() {
  running_ = true;
  return Status::Ok();
}

void SilentCapture::SetOrigin(uint64_t origin_ns, uint64_t frames_delivered) {
  has_origin_ = true;
  origin_ns_ = origin_ns;
  delivered_ = frames_delivered;
}

Status SilentCapture::Read(uint64_t until_ns, std::vector<int16_t>& out) {
  if (!has_origin_) return Status::Ok();
  const uint64_t target = FramesBefore(origin_ns_, until_ns, format_.sample_rate);
  if (target <= delivered_) return Status::Ok();
  out.resize(out.size() + static_cast<size_t>(target - delivered_) * format_.channels);
  delivered_ = target;
  return Status::Ok();
}

}  // namespace orventa
