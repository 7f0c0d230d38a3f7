#include <unistd.h>

#include <utility>

#include "sound/process_table.h"
#include "sound/sound_linux/lavc_aac.h"
#include "sound/sound_linux/pulse_device_capture.h"
#include "sound/sound_linux/pulse_process_capture.h"
#include "sound/sound_linux/pulse_server.h"
#include "sound/sound_linux/sound_linux.h"

namespace orventa {
namespace {

constexpr uint64_t kAskTimeoutNs = kNsPerSecond;
constexpr uint32_t kUsualRate = 48000;

uint32_t RateOf(const PulseDevice* device) {
  const bool taken =
      device != nullptr && (device->spec.rate == 44100 || device->spec.rate == 48000);
  return taken ? device->spec.rate : kUsualRate;
}

void List(const std::vector<PulseDevice>& devices, std::vector<SoundDevice>& out) {
  for (const PulseDevice& device : devices) {
    if (!device.is_monitor) out.push_back({device.id, device.name});
  }
}

class LinuxSound final : public ISoundSources {
 public:
  explicit LinuxSound(IClock& clock) : clock_(clock) {}

  Status MakeOutputCapture(const std::string& device, uint32_t rate,
                           std::unique_ptr<IAudioCapture>& out) override {
    return Make(PulseSide::Output, device, rate, out);
  }

  Status MakeMicrophoneCapture(const std::string& device, uint32_t rate,
                               std::unique_ptr<IAudioCapture>& out) override {
    return Make(PulseSide::Microphone, device, rate, out);
  }

  // An output's monitor hears all that is played there; nobody's stream can be taken
  // out of it again. This program plays nothing, so what the default output plays is
  // everything but its own sound; leaving anybody else out is refused.
  Status MakeProcessCapture(uint32_t pid, ProcessTree tree,
                            std::unique_ptr<IAudioCapture>& out) override {
    if (tree == ProcessTree::Only) {
      out = std::make_unique<PulseProcessCapture>(clock_, pid, MakeProcessTable());
      return Status::Ok();
    }
    if (pid != static_cast<uint32_t>(getpid())) {
      return {StatusCode::Unsupported, "another program's sound cannot be left out here"};
    }
    out = std::make_unique<PulseDeviceCapture>(clock_, PulseSide::Output, "", kUsualRate);
    return Status::Ok();
  }

  Status MakeAacEncoder(const AacSettings& settings, std::unique_ptr<IAacEncoder>& out) override {
    return MakeLavcAacEncoder(settings, out);
  }

  Status SoundingProcesses(std::vector<SoundingProcess>& out) override {
    PulseState state;
    if (Status status = Ask(state); !status.ok()) return status;
    const std::unique_ptr<IProcessTable> processes = MakeProcessTable();
    if (Status status = processes->Refresh(); !status.ok()) return status;
    for (const PulsePlayer& player : state.players) {
      if (player.pid == 0 || player.corked) continue;
      const auto process = processes->Find(player.pid);
      const bool named = process && !process->file_name.empty();
      out.push_back({player.pid, named ? process->file_name : player.program});
    }
    return Status::Ok();
  }

  Status Outputs(std::vector<SoundDevice>& out) override {
    PulseState state;
    if (Status status = Ask(state); !status.ok()) return status;
    List(state.outputs, out);
    return Status::Ok();
  }

  Status Inputs(std::vector<SoundDevice>& out) override {
    PulseState state;
    if (Status status = Ask(state); !status.ok()) return status;
    List(state.inputs, out);
    return Status::Ok();
  }

 private:
  Status Make(PulseSide side, const std::string& device, uint32_t rate,
              std::unique_ptr<IAudioCapture>& out) {
    if (rate == 0) rate = DeviceRate(side, device);
    out = std::make_unique<PulseDeviceCapture>(clock_, side, device, rate);
    return Status::Ok();
  }

  // Without a server the usual one will do: sound is brought to the rate that was told.
  uint32_t DeviceRate(PulseSide side, const std::string& chosen) {
    PulseState state;
    if (!Ask(state).ok()) return kUsualRate;
    const bool output = side == PulseSide::Output;
    const std::vector<PulseDevice>& devices = output ? state.outputs : state.inputs;
    const PulseDevice* device = chosen.empty() ? nullptr : FindPulseDevice(devices, chosen);
    if (device == nullptr) {
      device = FindPulseDevice(devices, output ? state.default_output : state.default_input);
    }
    return RateOf(device);
  }

  // By a connection of its own, for this one question.
  Status Ask(PulseState& state) {
    PulseServer server(clock_);
    server.Connect();
    const uint64_t deadline_ns = clock_.SteadyNs() + kAskTimeoutNs;
    while (server.IsConnecting() && clock_.SteadyNs() < deadline_ns) server.Turn(deadline_ns);
    if (server.IsReady()) {
      state = server.state();
      return Status::Ok();
    }
    const bool silent = server.IsConnecting();
    return {StatusCode::BackendUnavailable,
            silent ? "the sound server does not answer" : "no sound server"};
  }

  IClock& clock_;
};

}  // namespace

std::unique_ptr<ISoundSources> MakeLinuxSound(IClock& clock) {
  return std::make_unique<LinuxSound>(clock);
}

}  // namespace orventa
