// The conversion on the graphics card: a draw a plane into a ring of NV12 or P010
// textures. Engine thread, on the immediate context of the device.
#pragma once

#include <d3d11.h>
#include <wrl/client.h>

#include <array>
#include <cstddef>
#include <functional>
#include <memory>
#include <vector>

#include "base/status.h"
#include "convert/convert_shaders.h"
#include "convert/convert_win/shader_compiler.h"
#include "convert/converter.h"
#include "convert/geometry.h"
#include "convert/tones.h"
#include "media/media_win/d3d11_device.h"
#include "media/media_win/d3d11_picture.h"

namespace orventa {

// A picture to encode, with a view to draw each plane through.
struct PlanarTarget {
  PictureRef picture;
  Microsoft::WRL::ComPtr<ID3D11RenderTargetView> luma;
  Microsoft::WRL::ComPtr<ID3D11RenderTargetView> chroma;
};

// One texture with two planes. DriverError when the driver makes none.
Status MakePlanarTarget(ID3D11Device& device, PixelFormat format, uint32_t width, uint32_t height,
                        PlanarTarget& out);

// Where shaders and targets come from. Wine draws into no NV12 and compiles no function
// calls, so tests under it bring ways of their own.
struct ConverterParts {
  std::function<Status(const ShaderSource&, ShaderCode&)> compile = CompileShader;
  std::function<Status(ID3D11Device&, PixelFormat, uint32_t width, uint32_t height, PlanarTarget&)>
      make_target = MakePlanarTarget;
};

class FrameConverter final : public IFrameConverter {
 public:
  // InvalidArgument as for every converter; BackendUnavailable and DriverError when
  // the system's part in it fails. Compiles every shader that Convert may need.
  static Status Create(const D3d11Device& device, const ConverterSettings& settings,
                       std::unique_ptr<IFrameConverter>& out, const ConverterParts& parts = {});

  Status Convert(const PictureRef& input, PictureRef& output) override;
  Status SetTone(float sdr_white, float peak) override;
  Status RaisePeak(float ratio) override;
  void SetDrawnClass(DrawnClass drawn) override { drawn_class_ = drawn; }

 private:
  template <class T>
  using ComPtr = Microsoft::WRL::ComPtr<T>;

  struct Shaders {
    ComPtr<ID3D11PixelShader> luma;
    ComPtr<ID3D11PixelShader> chroma;
  };
  struct InputView {
    ComPtr<ID3D11Texture2D> texture;
    ComPtr<ID3D11ShaderResourceView> view;
  };

  FrameConverter(const D3d11Device& device, const ConverterSettings& settings,
                 const Geometry& geometry);

  Status MakeShaders(const ConverterParts& parts);
  Status MakePixelShader(const ConverterParts& parts, const ConvertShader& shader,
                         ComPtr<ID3D11PixelShader>& out);
  Status MakePair(const ConverterParts& parts, ShaderTransfer transfer, Shaders& out);
  Status MakeState();
  Status MakePool(const ConverterParts& parts);
  void WriteTones();
  Status ViewOf(const D3d11Picture& picture, ID3D11ShaderResourceView*& view);
  void BindState(ID3D11ShaderResourceView* view);
  void Draw(ID3D11RenderTargetView* target, ID3D11PixelShader* shader, uint32_t divisor);
  void Unbind();

  const ComPtr<ID3D11Device> device_;
  const ComPtr<ID3D11DeviceContext> context_;
  const ConverterSettings settings_;
  const Geometry geometry_;
  Tones tones_;
  DrawnClass drawn_class_ = DrawnClass::HdrOrUnknown;

  ComPtr<ID3D11VertexShader> vertex_;
  Shaders light_;  // for scRGB
  Shaders codes_;  // for 8-bit codes
  ComPtr<ID3D11SamplerState> sampler_;
  ComPtr<ID3D11RasterizerState> rasterizer_;
  std::array<ComPtr<ID3D11Buffer>, kDrawnClasses.size()> tone_buffers_;
  std::vector<PlanarTarget> pool_;
  size_t next_ = 0;

  // A capture's pool has three textures, a window's crop one of its own.
  std::array<InputView, 4> views_;
  size_t next_view_ = 0;
  PixelFormat viewed_format_ = PixelFormat::Bgra8;
};

}  // namespace orventa
