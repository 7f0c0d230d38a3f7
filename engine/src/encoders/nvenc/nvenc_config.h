// Our settings in the words of NVENC. Pure functions, any thread.
#pragma once

#include <cstdint>

#include "encoders/encoder.h"
#include "encoders/nvenc/nvenc_abi.h"

namespace orventa {

// `wanted` as the encoder will really run it; fails when it never can.
Status NvencSettings(const EncoderSettings& wanted, EncoderSettings& out);

// From here on `settings` are such ones.
const GUID& NvencPresetGuid(const EncoderSettings& settings);
uint32_t NvencTuning(const EncoderSettings& settings);
uint32_t NvencBufferFormat(const EncoderSettings& settings);

// Changes the configuration of a preset into that of the settings.
void FillNvencConfig(const EncoderSettings& settings, nvenc::NV_ENC_CONFIG& config);

// `config` must outlive the call that takes the parameters. `driver_version` as in
// AdapterFacts.
nvenc::NV_ENC_INITIALIZE_PARAMS NvencInitParams(const EncoderSettings& settings,
                                                uint64_t driver_version,
                                                nvenc::NV_ENC_CONFIG& config);

// Mastering metadata in the units and the order of the codec's own.
nvenc::MASTERING_DISPLAY_INFO NvencMasteringDisplay(const EncoderSettings& settings);

}  // namespace orventa
