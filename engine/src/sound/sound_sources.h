// What the engine needs of the platform for sound. The platform's main makes it; it
// must outlive the engine. Engine thread, unless a line says otherwise.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "base/status.h"
#include "sound/aac.h"
#include "sound/capture.h"

namespace orventa {

// A device as people choose it.
struct SoundDevice {
  std::string id;    // what the settings hold
  std::string name;  // for people
};

// A process that has something to play at the moment.
struct SoundingProcess {
  uint32_t pid = 0;
  std::string file_name;  // of its program, without the folder
};

enum class ProcessTree { Only, Except };

class ISoundSources {
 public:
  virtual ~ISoundSources() = default;

  // Everything that an output plays; `device` empty: whichever is the default.
  // `rate` 0: the device's own, if that is 44100 or 48000, else 48000.
  virtual Status MakeOutputCapture(const std::string& device, uint32_t rate,
                                   std::unique_ptr<IAudioCapture>& out) = 0;
  virtual Status MakeMicrophoneCapture(const std::string& device, uint32_t rate,
                                       std::unique_ptr<IAudioCapture>& out) = 0;
  // What a process and its children play, or everything but that; 48000 Hz.
  virtual Status MakeProcessCapture(uint32_t pid, ProcessTree tree,
                                    std::unique_ptr<IAudioCapture>& out) = 0;
  virtual Status MakeAacEncoder(const AacSettings& settings, std::unique_ptr<IAacEncoder>& out) = 0;

  // Any thread; may wait for the sound system for a moment.
  virtual Status SoundingProcesses(std::vector<SoundingProcess>& out) = 0;
  virtual Status Outputs(std::vector<SoundDevice>& out) = 0;
  virtual Status Inputs(std::vector<SoundDevice>& out) = 0;
};

}  // namespace orventa
