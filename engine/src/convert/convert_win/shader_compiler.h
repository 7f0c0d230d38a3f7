// HLSL to what Direct3D takes, by the system's own compiler, found at run time. Any
// thread.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "base/status.h"
#include "convert/convert_shaders.h"

namespace orventa {

using ShaderCode = std::shared_ptr<const std::vector<uint8_t>>;

// What has been compiled once is remembered for the whole process. DriverError with
// the compiler's words, BackendUnavailable where there is no compiler.
Status CompileShader(const ShaderSource& source, ShaderCode& code);

}  // namespace orventa
