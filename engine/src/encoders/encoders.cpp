#include "encoders/encoders.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <set>
#include <utility>

#include "base/log.h"
#include "base/mutex.h"
#include "base/text.h"

namespace orventa {
namespace {

constexpr char kNoEncoderSwitch[] = "ORVENTA_NO_ENCODER";

class KnownGood {
 public:
  bool Has(const IEncoderBackend& backend, const GraphicsDevice& device) {
    MutexLock lock(mutex_);
    return known_.contains(KeyOf(backend, device));
  }
  void Add(const IEncoderBackend& backend, const GraphicsDevice& device) {
    MutexLock lock(mutex_);
    known_.insert(KeyOf(backend, device));
  }

 private:
  using Key = std::pair<const IEncoderBackend*, uint64_t>;
  static Key KeyOf(const IEncoderBackend& backend, const GraphicsDevice& device) {
    return {&backend, device.AdapterKey()};
  }

  Mutex mutex_;
  std::set<Key> known_ ORVENTA_GUARDED_BY(mutex_);
};

KnownGood& TheKnownGood() {
  static KnownGood known_good;
  return known_good;
}

Status NoEncoderAvailable(const BackendList& backends, const GraphicsDevice& device,
                          bool switched_off) {
  std::string text = "no hardware encoder available";
  if (!device.AdapterName().empty()) text += " on " + device.AdapterName();
  for (const IEncoderBackend* backend : backends) {
    if (backend->Name() != "NVENC") continue;
    const std::string problem = backend->LoadMessage();
    if (!problem.empty()) text += " (NVENC: " + problem + ")";
  }
  if (switched_off) text += " (ORVENTA_NO_ENCODER is set)";
  return {StatusCode::Unsupported, std::move(text)};
}

// The same settings without anything that only a 10-bit picture carries.
EncoderSettings AtEightBits(EncoderSettings settings) {
  settings.input_format = EncoderInput::Nv12;
  settings.colour_primaries = ColourPrimaries::Bt709;
  settings.transfer = Transfer::Bt709;
  settings.matrix = ColourMatrix::Bt709;
  settings.mastering = {};
  return settings;
}

bool AllowsTenBit(Codec codec) {
  return codec != Codec::H264;
}

// What is tried in turn after every backend refused `wanted`.
std::vector<EncoderSettings> FallbackSettings(const EncoderSettings& wanted) {
  std::vector<EncoderSettings> list;
  const bool ten_bit = wanted.input_format == EncoderInput::P010;
  if (ten_bit) list.push_back(AtEightBits(wanted));
  for (auto older = static_cast<uint32_t>(wanted.codec); older-- > 0;) {
    EncoderSettings settings = wanted;
    settings.codec = static_cast<Codec>(older);
    settings.preset.clear();  // names of speeds differ from codec to codec
    if (ten_bit && AllowsTenBit(settings.codec)) list.push_back(settings);
    list.push_back(ten_bit ? AtEightBits(settings) : settings);
  }
  return list;
}

std::string CodecRow(const CodecCaps& caps) {
  std::string row = "  " + std::string(CodecWord(caps.codec)) +
                    Format("  up to %ux%u", caps.max_width, caps.max_height);
  row += caps.ten_bit ? ", 10-bit" : ", 8-bit only";
  if (caps.b_frames) row += ", B-frames";
  if (caps.lossless) row += ", lossless";
  return row + "\n";
}

std::string BackendRows(IEncoderBackend& backend, GraphicsDevice& device) {
  const std::string heading = "  " + std::string(backend.Name());
  EncoderCaps caps;
  const Status status = backend.Probe(device, caps);
  if (!status.ok()) {
    return heading + ": available, but would not answer -- " + status.message() + "\n";
  }
  if (caps.codecs.empty()) return heading + ": available, encodes nothing\n";
  std::string rows = heading + "\n";
  for (const CodecCaps& codec : caps.codecs) rows += CodecRow(codec);
  return rows;
}

}  // namespace

std::string_view CodecWord(Codec codec) {
  static constexpr std::array<std::string_view, kCodecCount> kWords = {"h264", "hevc", "av1"};
  const auto index = static_cast<size_t>(codec);
  return index < kWords.size() ? kWords[index] : "unknown";
}

std::string_view RateControlWord(RateControl rate_control) {
  static constexpr std::array<std::string_view, 3> kWords = {"cbr", "vbr", "cqp"};
  const auto index = static_cast<size_t>(rate_control);
  return index < kWords.size() ? kWords[index] : "unknown";
}

bool EncoderExists(const BackendList& backends, GraphicsDevice* device) {
  if (device == nullptr || EnvironmentSwitch(kNoEncoderSwitch)) return false;
  for (IEncoderBackend* backend : backends) {
    if (TheKnownGood().Has(*backend, *device)) return true;
    if (!backend->Supports(*device)) continue;
    EncoderCaps caps;
    if (!backend->Probe(*device, caps).ok() || caps.codecs.empty()) continue;
    TheKnownGood().Add(*backend, *device);
    return true;
  }
  return false;
}

Status OpenEncoder(const BackendList& backends, GraphicsDevice* device,
                   const EncoderSettings& settings, std::unique_ptr<IVideoEncoder>& encoder,
                   IEncoderBackend*& backend) {
  encoder.reset();
  backend = nullptr;
  if (device == nullptr) return {StatusCode::InvalidArgument, "null D3D11 device"};
  const bool switched_off = EnvironmentSwitch(kNoEncoderSwitch);
  Status failure = NoEncoderAvailable(backends, *device, switched_off);
  if (switched_off) return failure;

  BackendList supporting;
  std::copy_if(backends.begin(), backends.end(), std::back_inserter(supporting),
               [&](IEncoderBackend* candidate) { return candidate->Supports(*device); });

  bool first = true;
  for (IEncoderBackend* candidate : supporting) {
    Status status = candidate->Create(*device, settings, encoder);
    if (status.ok()) {
      backend = candidate;
      return status;
    }
    if (first || status.code() == StatusCode::SessionLimitReached) failure = std::move(status);
    first = false;
  }

  for (const EncoderSettings& fallback : FallbackSettings(settings)) {
    for (IEncoderBackend* candidate : supporting) {
      if (!candidate->Create(*device, fallback, encoder).ok()) continue;
      backend = candidate;
      LogWarning("encoder: %s, so %s at %s bits is used instead", failure.ToString().c_str(),
                 std::string(CodecWord(fallback.codec)).c_str(),
                 fallback.input_format == EncoderInput::P010 ? "10" : "8");
      return Status::Ok();
    }
  }
  encoder.reset();
  return failure;
}

std::string EncoderReport(const BackendList& backends,
                          const std::vector<ReportedAdapter>& adapters) {
  if (adapters.empty()) return "no video adapters were found\n";
  std::string report;
  for (size_t index = 0; index < adapters.size(); ++index) {
    const ReportedAdapter& adapter = adapters[index];
    report += "gpu " + std::to_string(index) + ": " + adapter.name + " -- " +
              (adapter.discrete ? "discrete" : "integrated") + ", " +
              std::to_string(adapter.memory_mb) + " MB\n";
    if (adapter.device == nullptr) {
      report += "  no D3D11 device could be made on it\n";
      continue;
    }
    bool any = false;
    for (IEncoderBackend* backend : backends) {
      if (!backend->Supports(*adapter.device)) continue;
      any = true;
      report += BackendRows(*backend, *adapter.device);
    }
    if (!any) report += "  no encoder backend offered itself\n";
  }
  return report;
}

// A larger picture and a faster one carry less news a pixel, so the rate grows
// more slowly than either. Anchored at 36 Mbit/s for H.264 at 1920x1080 and 60
// frames a second: 24 Mbit/s at 30, 109 Mbit/s at 3840x2160.
uint32_t AutomaticBitrateKbps(uint32_t width, uint32_t height, uint32_t fps, Codec codec) {
  constexpr double kAnchorKbps = 36000;
  constexpr double kAnchorPixels = 1920.0 * 1080.0;
  constexpr double kAnchorFps = 60;
  constexpr double kSizeExponent = 0.8;
  constexpr double kRateExponent = 0.6;
  constexpr std::array<double, kCodecCount> kCodecShare = {1.0, 0.7, 0.6};
  constexpr double kStepKbps = 100;  // hides the last digits of pow, which differ by platform

  const double share = kCodecShare[std::min<size_t>(static_cast<size_t>(codec), kCodecCount - 1)];
  const double pixels = static_cast<double>(width) * static_cast<double>(height);
  const double kbps = kAnchorKbps * share * std::pow(pixels / kAnchorPixels, kSizeExponent) *
                      std::pow(static_cast<double>(fps) / kAnchorFps, kRateExponent);
  const double rounded = std::round(kbps / kStepKbps) * kStepKbps;
  return static_cast<uint32_t>(std::clamp(rounded, 500.0, 500'000.0));
}

}  // namespace orventa
