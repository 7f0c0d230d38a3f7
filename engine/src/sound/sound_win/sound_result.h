// What WASAPI's results mean to people, and the formats that it gives sound in. Pure
// functions; any thread.
#pragma once

// First: the other headers of the system lean on it.
#include <windows.h>

#include <audioclient.h>

#include <cstdint>

#include "sound/device_follower.h"
#include "sound/downmix.h"

namespace orventa {

// For a call that failed.
SoundTrouble TroubleOf(HRESULT result);
// Whether the stream is over and its device has to be opened again.
bool IsDeviceGone(HRESULT result);

struct WaveShape {
  SampleKind kind = SampleKind::Float32;
  uint32_t channels = 0;
  uint32_t mask = 0;  // 0: the usual one for that many channels
  uint32_t rate = 0;  // Hz
};

// False when it is no form that Downmix takes. Reads `format.cbSize` bytes behind it.
bool ReadWaveFormat(const WAVEFORMATEX& format, WaveShape& shape);

// What sound is given at when nobody asks for a rate: the device's own (0: unknown),
// if videos use it.
uint32_t OutputRate(uint32_t device_rate);

}  // namespace orventa
