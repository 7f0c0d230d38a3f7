// One application's sound, or all but one application's: the virtual device of
// Windows 10 2004 and later, whose structures mingw-w64 does not have. Used on a
// capture's thread, which must be in the multithreaded apartment.
#pragma once

// First: the other headers of the system lean on it.
#include <windows.h>

#include <audioclient.h>
#include <wrl/client.h>

#include <cstddef>
#include <cstdint>

#include "sound/device_follower.h"
#include "sound/sound_sources.h"

namespace orventa {

inline constexpr wchar_t kProcessLoopbackDevice[] = L"VAD\\Process_Loopback";

enum class AudioActivation : int32_t { Default = 0, ProcessLoopback = 1 };
enum class ProcessLoopbackMode : int32_t { IncludeTree = 0, ExcludeTree = 1 };

struct AudioActivationParams {
  AudioActivation type = AudioActivation::ProcessLoopback;
  uint32_t pid = 0;
  ProcessLoopbackMode mode = ProcessLoopbackMode::IncludeTree;
};
static_assert(sizeof(AudioActivationParams) == 12);
static_assert(offsetof(AudioActivationParams, pid) == 4);
static_assert(offsetof(AudioActivationParams, mode) == 8);

// How such a device is asked for its sound; it tells no format of its own.
inline constexpr uint32_t kProcessLoopbackRate = 48000;
WAVEFORMATEX ProcessLoopbackFormat();

// Waits up to 2 seconds, or until `stop` is set; null: nothing ends the wait.
DeviceResult ActivateProcessLoopback(uint32_t pid, ProcessTree tree, HANDLE stop,
                                     Microsoft::WRL::ComPtr<IAudioClient>& client);

}  // namespace orventa
