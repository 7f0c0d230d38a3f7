// One chain from capture to encoder, made fresh for every run of the frame loop and
// gone with it. Engine thread.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "settings/config.h"
#include "video/encoder_choice.h"
#include "video/encoder_worker.h"
#include "video/engine_platform.h"
#include "video/packet_sink.h"
#include "video/sound_pump.h"
#include "video/targets.h"

namespace orventa {

struct Pipeline {
  FoundTarget target;
  Config config;  // in force when the pipeline was built
  std::shared_ptr<GraphicsDevice> device;
  std::unique_ptr<IVideoCapture> capture;
  CapturedFrame frame;         // the newest that capture gave
  PictureSize captured;        // pixels, as capture gives them
  PictureSize source;          // rounded down to even numbers
  DisplayDescription display;  // as it was when capture began
  std::unique_ptr<IVideoEncoder> encoder;
  std::string backend_name;
  std::unique_ptr<IFrameConverter> converter;
  uint32_t pool_size = 0;
  uint64_t interval_ns = 0;          // between slots
  std::unique_ptr<SoundPump> sound;  // without tracks when there is no sound
  uint64_t sound_base_pts = 0;       // where its first sample lies
  bool same_target = false;          // as the pipeline before
  bool for_recording = false;        // with a picture that only a recording wants

  // What both of the following use lies above them.
  std::unique_ptr<PacketSink> sink;
  std::unique_ptr<EncoderWorker> worker;
};

}  // namespace orventa
