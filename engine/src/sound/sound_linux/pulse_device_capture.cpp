#include "sound/sound_linux/pulse_device_capture.h"

namespace orventa {
namespace {

constexpr uint64_t kOpenTimeoutNs = 2 * kNsPerSecond;

}  // namespace

PulseDeviceListener::PulseDeviceListener(IClock& clock, PulseServer& server, PulseSide side,
                                         CaptureQueue& queue)
    : clock_(clock), server_(server), side_(side), stream_(clock, server, queue) {}

bool PulseDeviceListener::Serve(bool) {
  return stream_.IsGood();
}

const std::vector<PulseDevice>& PulseDeviceListener::Devices() const {
  const PulseState& state = server_.state();
  return side_ == PulseSide::Output ? state.outputs : state.inputs;
}

bool PulseDeviceListener::IsActive(const std::string& id) {
  return FindPulseDevice(Devices(), id) != nullptr;
}

std::string PulseDeviceListener::DefaultId() {
  const PulseState& state = server_.state();
  if (side_ == PulseSide::Output) {
    return IsActive(state.default_output) ? state.default_output : std::string();
  }
  // Without a microphone the server names an output's monitor as the default input;
  // that would put into the recording once more what is played.
  const PulseDevice* const device = FindPulseDevice(Devices(), state.default_input);
  return device == nullptr || device->is_monitor ? std::string() : device->id;
}

DeviceResult PulseDeviceListener::Open(const std::string& id, std::string& name) {
  const PulseDevice* const device = FindPulseDevice(Devices(), id);
  if (device == nullptr) {
    return {Status(StatusCode::DeviceLost, "the device is gone"), SoundTrouble::NotFound};
  }
  name = device->name;
  PulseStreamTarget target;
  target.source = device->source;
  target.spec = device->spec;
  target.map = device->map;
  target.purpose = side_ == PulseSide::Output ? "what is played" : "microphone";
  if (!stream_.Open(target)) return stream_.Failure();
  const uint64_t deadline_ns = clock_.SteadyNs() + kOpenTimeoutNs;
  while (stream_.IsPending()) {
    if (server_.IsInterrupted() || clock_.SteadyNs() >= deadline_ns) {
      return {Status(StatusCode::DriverError, "the sound server does not answer"),
              SoundTrouble::Failed};
    }
    server_.Turn(deadline_ns);
  }
  if (!stream_.IsGood()) return stream_.Failure();
  return {};
}

DeviceResult PulseDeviceListener::Start() {
  stream_.Start();
  return {};
}

PulseDeviceCapture::PulseDeviceCapture(IClock& clock, PulseSide side, const std::string& chosen,
                                       uint32_t rate)
    : sound_(queue_, SoundTiming::Direct, rate),
      server_(clock),
      listener_(clock, server_, side, queue_),
      thread_(clock, server_, listener_, Following::Device, chosen,
              side == PulseSide::Output ? "output" : "microphone") {}

Status PulseDeviceCapture::Start() {
  thread_.Start();
  return Status::Ok();
}

void PulseDeviceCapture::SetOrigin(uint64_t origin_ns, uint64_t frames_delivered) {
  sound_.SetOrigin(origin_ns, frames_delivered);
}

Status PulseDeviceCapture::Read(uint64_t until_ns, std::vector<int16_t>& out) {
  return sound_.Read(until_ns, out);
}

}  // namespace orventa
