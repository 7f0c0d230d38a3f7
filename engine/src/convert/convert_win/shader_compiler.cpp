#include "convert/convert_win/shader_compiler.h"

#include <windows.h>

#include <d3dcompiler.h>
#include <wrl/client.h>

#include <map>
#include <string>

#include "base/base_win/win32.h"
#include "base/mutex.h"
#include "base/text.h"

using Microsoft::WRL::ComPtr;

namespace orventa {
namespace {

// Strict, so that the clamping of what is no number is not optimised away.
constexpr UINT kFlags = D3DCOMPILE_OPTIMIZATION_LEVEL3 | D3DCOMPILE_IEEE_STRICTNESS;

// Loaded once and kept.
pD3DCompile Compiler() {
  static const auto compile = SystemFunction<pD3DCompile>(L"d3dcompiler_47.dll", "D3DCompile");
  return compile;
}

class CompiledShaders {
 public:
  ShaderCode Find(const std::string& key) {
    const MutexLock lock(mutex_);
    const auto found = codes_.find(key);
    return found != codes_.end() ? found->second : nullptr;
  }
  void Add(const std::string& key, ShaderCode code) {
    const MutexLock lock(mutex_);
    codes_[key] = std::move(code);
  }

 private:
  Mutex mutex_;
  std::map<std::string, ShaderCode> codes_ ORVENTA_GUARDED_BY(mutex_);
};

CompiledShaders& TheCompiledShaders() {
  static CompiledShaders compiled;
  return compiled;
}

std::string KeyOf(const ShaderSource& source) {
  std::string key = Format("%p ", static_cast<const void*>(source.text.data())) + source.profile +
                    " " + source.entry;
  for (const ShaderDefine& define : source.defines) key += " " + define.name + "=" + define.value;
  return key;
}

std::string TextOf(ID3DBlob* blob) {
  if (blob == nullptr) return {};
  const std::string_view text(static_cast<const char*>(blob->GetBufferPointer()),
                              blob->GetBufferSize());
  return std::string(Trim(text.substr(0, text.find('\0'))));
}

}  // namespace

Status CompileShader(const ShaderSource& source, ShaderCode& code) {
  const std::string key = KeyOf(source);
  code = TheCompiledShaders().Find(key);
  if (code != nullptr) return Status::Ok();
  const pD3DCompile compile = Compiler();
  if (compile == nullptr) {
    return {StatusCode::BackendUnavailable, "d3dcompiler_47.dll cannot be loaded"};
  }

  std::vector<D3D_SHADER_MACRO> macros;
  for (const ShaderDefine& define : source.defines) {
    macros.push_back({define.name.c_str(), define.value.c_str()});
  }
  macros.push_back({nullptr, nullptr});
  ComPtr<ID3DBlob> bytes;
  ComPtr<ID3DBlob> words;
  const HRESULT result =
      compile(source.text.data(), source.text.size(), nullptr, macros.data(), nullptr,
              source.entry.c_str(), source.profile.c_str(), kFlags, 0, &bytes, &words);
  if (FAILED(result) || bytes == nullptr) {
    return {StatusCode::DriverError,
            "D3DCompile(" + source.profile + ") failed: " + TextOf(words.Get())};
  }
  const auto* begin = static_cast<const uint8_t*>(bytes->GetBufferPointer());
  code = std::make_shared<const std::vector<uint8_t>>(begin, begin + bytes->GetBufferSize());
  TheCompiledShaders().Add(key, code);
  return Status::Ok();
}

}  // namespace orventa
