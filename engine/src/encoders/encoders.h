// Choosing a video encoder among a platform's backends, with fallbacks, and
// telling what there is. `encoder.h` says what a backend and an encoder are.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "encoders/encoder.h"

namespace orventa {

// Whether any backend can encode on the device. False without a device, or when
// the environment switch ORVENTA_NO_ENCODER counts as set. Positive answers are
// remembered per backend and adapter. Engine thread, export threads.
bool EncoderExists(const BackendList& backends, GraphicsDevice* device);

// Opens the first backend that takes the settings; failing that, the same
// settings at 8 bits, then older codecs. `backend` is the one that was taken.
Status OpenEncoder(const BackendList& backends, GraphicsDevice* device,
                   const EncoderSettings& settings, std::unique_ptr<IVideoEncoder>& encoder,
                   IEncoderBackend*& backend);

// One adapter of the machine for the report; no device: none could be made on it.
struct ReportedAdapter {
  std::string name;
  bool discrete = false;
  uint64_t memory_mb = 0;
  GraphicsDevice* device = nullptr;
};
std::string EncoderReport(const BackendList& backends,
                          const std::vector<ReportedAdapter>& adapters);

// Bitrate for a picture size, rate and codec when the user leaves it to us.
uint32_t AutomaticBitrateKbps(uint32_t width, uint32_t height, uint32_t fps, Codec codec);

}  // namespace orventa
