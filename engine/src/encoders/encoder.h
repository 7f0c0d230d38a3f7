// What every video encoder looks like to the engine, and the settings that open
// one. A backend is one way to encode (a vendor's interface, a library); it keeps
// no per-encoder state. An encoder is used by one thread at a time.
// Packets come in the order of submission unless B-frames were asked for; dts always
// equals pts.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "base/status.h"
#include "media/graphics_device.h"
#include "media/packet.h"
#include "media/picture.h"

namespace orventa {

enum class Codec : uint32_t { H264 = 0, Hevc = 1, Av1 = 2 };
inline constexpr uint32_t kCodecCount = 3;
std::string_view CodecWord(Codec codec);  // "h264", "hevc", "av1"

enum class EncoderInput : uint32_t { Nv12 = 0, P010 = 1, Bgra = 2 };
enum class RateControl : uint32_t { Cbr = 0, Vbr = 1, ConstantQp = 2 };
std::string_view RateControlWord(RateControl rate_control);  // "cbr", "vbr", "cqp"
enum class ColourPrimaries : uint32_t { Bt709 = 0, Bt2020 = 1 };
enum class Transfer : uint32_t { Bt709 = 0, Pq = 1, Hlg = 2 };
enum class ColourMatrix : uint32_t { Bt709 = 0, Bt2020 = 1 };
enum class SplitEncode : uint32_t { Automatic = 0, AskedFor = 1, Off = 2 };

// HDR mastering metadata. All zero: none.
struct MasteringMetadata {
  float max_nits = 0;
  float min_nits = 0;
  float chromaticity[8] = {};  // red x, y; green x, y; blue x, y; white x, y
  uint16_t max_cll = 0;
  uint16_t max_fall = 0;

  bool operator==(const MasteringMetadata&) const = default;
};

struct EncoderSettings {
  Codec codec = Codec::H264;
  EncoderInput input_format = EncoderInput::Nv12;
  uint32_t width = 0;  // pixels, even
  uint32_t height = 1080;
  uint32_t fps_num = 60;
  uint32_t fps_den = 1;
  RateControl rate_control = RateControl::Vbr;
  uint32_t bitrate_kbps = 30000;
  uint32_t max_bitrate_kbps = 45000;
  uint32_t qp = 23;    // 0 to 51; AV1 uses it times 5
  std::string preset;  // the encoder's own name for its speed; empty: its default
  uint32_t keyframe_seconds = 2;
  bool adaptive_quantization = true;
  bool low_latency = false;
  uint32_t b_frames = 0;
  SplitEncode split_encode = SplitEncode::Automatic;
  ColourPrimaries colour_primaries = ColourPrimaries::Bt709;
  Transfer transfer = Transfer::Bt709;
  ColourMatrix matrix = ColourMatrix::Bt709;
  bool full_range = false;
  MasteringMetadata mastering;

  bool operator==(const EncoderSettings&) const = default;
};

struct EncoderFrame {
  PictureRef picture;  // held until the encoder has let go of it
  uint64_t pts = 0;    // ns on the session timeline
  bool force_keyframe = false;
};

struct CodecCaps {
  Codec codec = Codec::H264;
  uint32_t max_width = 0;
  uint32_t max_height = 0;
  bool ten_bit = false;
  bool b_frames = false;
  bool lossless = false;

  bool operator==(const CodecCaps&) const = default;
};

// What one backend can do on one device.
struct EncoderCaps {
  std::string name;
  std::string device_name;
  std::vector<CodecCaps> codecs;  // empty: it encodes nothing here
};

// A speed that an encoder offers, by its own name.
struct EncoderPreset {
  Codec codec = Codec::H264;
  std::string name;
  std::string description;
};

enum class CollectResult { Packet = 0, NothingYet = 1, Finished = 2 };

class IVideoEncoder {
 public:
  virtual ~IVideoEncoder() = default;

  // Queues one frame. May block for as long as encoding it takes.
  virtual Status Submit(const EncoderFrame& frame) = 0;
  // Never waits for more frames, at most for a card to finish the packet. An error is
  // NothingYet with a failed `status`.
  virtual CollectResult Collect(EncodedPacket& packet, Status& status) = 0;
  // No more frames come; what is inside can still be collected, up to Finished.
  virtual Status Drain() = 0;
  // The sequence header: Annex B parameter sets, or one AV1 sequence header OBU.
  // Known from the start, before the first frame.
  virtual Status Header(std::vector<uint8_t>& bytes) = 0;
  // The settings in effect, after whatever the backend had to change.
  virtual const EncoderSettings& Settings() const = 0;
  // Whether the same picture may be submitted again as the next frame.
  virtual bool AcceptsRepeats() const = 0;
  // Whether a pool of 6 + 2 x b_frames pictures suffices; else it is 8 + 2 x b_frames.
  virtual bool SlimPool() const = 0;
};

class IEncoderBackend {
 public:
  virtual ~IEncoderBackend() = default;

  virtual std::string_view Name() const = 0;
  // Why the backend's own library could not be loaded; empty when it could be, or
  // when there is nothing to load.
  virtual std::string LoadMessage() const { return {}; }
  // False: the processor encodes, which a game needs for itself.
  virtual bool UsesHardware() const { return true; }
  // Quick: whether this backend can be tried on the device at all.
  virtual bool Supports(const GraphicsDevice& device) = 0;
  // Ok with no codecs means "encodes nothing here". May take hundreds of milliseconds.
  virtual Status Probe(GraphicsDevice& device, EncoderCaps& caps) = 0;
  // Codecs that this kind of encoder may offer, on whatever device.
  virtual std::vector<Codec> Capabilities() const = 0;
  virtual std::vector<EncoderPreset> Presets() const = 0;
  virtual Status Create(GraphicsDevice& device, const EncoderSettings& settings,
                        std::unique_ptr<IVideoEncoder>& encoder) = 0;
};

// A platform's backends in the order in which they are tried; they live for the
// whole process.
using BackendList = std::vector<IEncoderBackend*>;

}  // namespace orventa
