// The smallest H.264 that decodes: keyframes of grey macroblocks, and pictures that
// repeat the one before. For fakes of encoders.
#pragma once

#include <cstdint>
#include <vector>

namespace orventa {

class GreyH264 {
 public:
  GreyH264(uint32_t width, uint32_t height) : width_(width), height_(height) {}

  std::vector<uint8_t> Header() const;
  std::vector<uint8_t> Picture(bool keyframe);

 private:
  const uint32_t width_;
  const uint32_t height_;
  uint32_t frame_num_ = 0;
  uint32_t idr_id_ = 0;
};

}  // namespace orventa
