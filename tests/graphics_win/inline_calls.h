// Makes shaders fit for Wine's compiler, which knows neither calls of functions nor
// the choice operator nor `exp`: preprocesses the text and writes every call out.
#pragma once

#include "base/status.h"
#include "convert/convert_shaders.h"
#include "convert/convert_win/shader_compiler.h"

namespace orventa::test {

// The entry function of `source` with all calls in it replaced by their steps. Takes
// functions of declarations and one final `return`, as the program's shaders are.
ShaderSource WithoutCalls(const ShaderSource& source);

// CompileShader after WithoutCalls; the text is kept for the process.
Status CompileForWine(const ShaderSource& source, ShaderCode& code);

}  // namespace orventa::test
