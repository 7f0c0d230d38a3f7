// The binary interfaces of Windows.Graphics.Capture as far as they are used, which
// the import headers lack: names, identifiers and the order of functions are the
// system's. Own functions follow the three of IUnknown or the six of IInspectable;
// a result is the last parameter. Used by WgcCapture and by the fakes of its tests.
#pragma once

#include <windows.h>

#include <eventtoken.h>
#include <inspectable.h>

#include <cstdint>
#include <type_traits>

namespace orventa::winrt {

// Handed over by value, in one register: no constructors.
struct SizeInt32 {
  int32_t Width;  // pixels
  int32_t Height;
  bool operator==(const SizeInt32&) const = default;
};
struct TimeSpan {
  int64_t Duration;  // 100 ns
};
static_assert(sizeof(SizeInt32) == 8 && std::is_trivial_v<SizeInt32>);
static_assert(sizeof(TimeSpan) == 8 && std::is_trivial_v<TimeSpan>);
static_assert(sizeof(EventRegistrationToken) == 8);

// The numbers of DXGI_FORMAT.
enum class DirectXPixelFormat : int32_t {
  R16G16B16A16Float = 10,
  B8G8R8A8UIntNormalized = 87,
};

struct Direct3DSurfaceDescription {
  int32_t Width;
  int32_t Height;
  DirectXPixelFormat Format;
  int32_t MultisampleCount;
  int32_t MultisampleQuality;
};
static_assert(sizeof(Direct3DSurfaceDescription) == 20);

inline constexpr wchar_t kItemClass[] = L"Windows.Graphics.Capture.GraphicsCaptureItem";
inline constexpr wchar_t kPoolClass[] = L"Windows.Graphics.Capture.Direct3D11CaptureFramePool";
inline constexpr wchar_t kSessionClass[] = L"Windows.Graphics.Capture.GraphicsCaptureSession";

// COM's interfaces have no virtual destructor, and nobody destroys one by them.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

struct IGraphicsCaptureItem;

struct IClosable : IInspectable {
  virtual HRESULT STDMETHODCALLTYPE Close() = 0;
};

// TypedEventHandler<GraphicsCaptureItem, IInspectable>
struct IItemClosedHandler : IUnknown {
  virtual HRESULT STDMETHODCALLTYPE Invoke(IGraphicsCaptureItem* sender, IInspectable* args) = 0;
};

struct IGraphicsCaptureItem : IInspectable {
  virtual HRESULT STDMETHODCALLTYPE get_DisplayName(HSTRING* result) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_Size(SizeInt32* result) = 0;
  virtual HRESULT STDMETHODCALLTYPE add_Closed(IItemClosedHandler* handler,
                                               EventRegistrationToken* result) = 0;
  virtual HRESULT STDMETHODCALLTYPE remove_Closed(EventRegistrationToken token) = 0;
};

// From the factory of kItemClass, since Windows 10 1903.
struct IGraphicsCaptureItemInterop : IUnknown {
  virtual HRESULT STDMETHODCALLTYPE CreateForWindow(HWND window, REFIID id, void** result) = 0;
  virtual HRESULT STDMETHODCALLTYPE CreateForMonitor(HMONITOR monitor, REFIID id,
                                                     void** result) = 0;
};

struct IDirect3DDevice : IInspectable {
  virtual HRESULT STDMETHODCALLTYPE Trim() = 0;
};

struct IDirect3DSurface : IInspectable {
  virtual HRESULT STDMETHODCALLTYPE get_Description(Direct3DSurfaceDescription* result) = 0;
};

// What of Direct3D stands behind a surface.
struct IDirect3DDxgiInterfaceAccess : IUnknown {
  virtual HRESULT STDMETHODCALLTYPE GetInterface(REFIID id, void** result) = 0;
};

struct IDirect3D11CaptureFrame : IInspectable {
  virtual HRESULT STDMETHODCALLTYPE get_Surface(IDirect3DSurface** result) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_SystemRelativeTime(TimeSpan* result) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_ContentSize(SizeInt32* result) = 0;
};

struct IGraphicsCaptureSession : IInspectable {
  virtual HRESULT STDMETHODCALLTYPE StartCapture() = 0;
};
// Since Windows 10 2004.
struct IGraphicsCaptureSession2 : IInspectable {
  virtual HRESULT STDMETHODCALLTYPE get_IsCursorCaptureEnabled(boolean* result) = 0;
  virtual HRESULT STDMETHODCALLTYPE put_IsCursorCaptureEnabled(boolean value) = 0;
};
// Since Windows 11.
struct IGraphicsCaptureSession3 : IInspectable {
  virtual HRESULT STDMETHODCALLTYPE get_IsBorderRequired(boolean* result) = 0;
  virtual HRESULT STDMETHODCALLTYPE put_IsBorderRequired(boolean value) = 0;
};
// Since Windows 11 24H2.
struct IGraphicsCaptureSession5 : IInspectable {
  virtual HRESULT STDMETHODCALLTYPE get_MinUpdateInterval(TimeSpan* result) = 0;
  virtual HRESULT STDMETHODCALLTYPE put_MinUpdateInterval(TimeSpan value) = 0;
};

struct IGraphicsCaptureSessionStatics : IInspectable {
  virtual HRESULT STDMETHODCALLTYPE IsSupported(boolean* result) = 0;
};

struct IDirect3D11CaptureFramePool : IInspectable {
  virtual HRESULT STDMETHODCALLTYPE Recreate(IDirect3DDevice* device, DirectXPixelFormat format,
                                             int32_t buffers, SizeInt32 size) = 0;
  // Null in `result` when the pool is empty.
  virtual HRESULT STDMETHODCALLTYPE TryGetNextFrame(IDirect3D11CaptureFrame** result) = 0;
  virtual HRESULT STDMETHODCALLTYPE add_FrameArrived(IUnknown* handler,
                                                     EventRegistrationToken* result) = 0;
  virtual HRESULT STDMETHODCALLTYPE remove_FrameArrived(EventRegistrationToken token) = 0;
  virtual HRESULT STDMETHODCALLTYPE CreateCaptureSession(IGraphicsCaptureItem* item,
                                                         IGraphicsCaptureSession** result) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_DispatcherQueue(IInspectable** result) = 0;
};

// Since Windows 10 1809.
struct IDirect3D11CaptureFramePoolStatics2 : IInspectable {
  virtual HRESULT STDMETHODCALLTYPE CreateFreeThreaded(IDirect3DDevice* device,
                                                       DirectXPixelFormat format, int32_t buffers,
                                                       SizeInt32 size,
                                                       IDirect3D11CaptureFramePool** result) = 0;
};

#pragma GCC diagnostic pop

}  // namespace orventa::winrt

// clang-format off
__CRT_UUID_DECL(orventa::winrt::IClosable,
                0x30D5A829, 0x7FA4, 0x4026, 0x83, 0xBB, 0xD7, 0x5B, 0xAE, 0x4E, 0xA9, 0x9E)
__CRT_UUID_DECL(orventa::winrt::IItemClosedHandler,
                0xE9C610C0, 0xA68C, 0x5BD9, 0x80, 0x21, 0x85, 0x89, 0x34, 0x6E, 0xEE, 0xE2)
__CRT_UUID_DECL(orventa::winrt::IGraphicsCaptureItem,
                0x79C3F95B, 0x31F7, 0x4EC2, 0xA4, 0x64, 0x63, 0x2E, 0xF5, 0xD3, 0x07, 0x60)
__CRT_UUID_DECL(orventa::winrt::IGraphicsCaptureItemInterop,
                0x3628E81B, 0x3CAC, 0x4C60, 0xB7, 0xF4, 0x23, 0xCE, 0x0E, 0x0C, 0x33, 0x56)
__CRT_UUID_DECL(orventa::winrt::IDirect3DDevice,
                0xA37624AB, 0x8D5F, 0x4650, 0x9D, 0x3E, 0x9E, 0xAE, 0x3D, 0x9B, 0xC6, 0x70)
__CRT_UUID_DECL(orventa::winrt::IDirect3DSurface,
                0x0BF4A146, 0x13C1, 0x4694, 0xBE, 0xE3, 0x7A, 0xBF, 0x15, 0xEA, 0xF5, 0x86)
__CRT_UUID_DECL(orventa::winrt::IDirect3DDxgiInterfaceAccess,
                0xA9B3D012, 0x3DF2, 0x4EE3, 0xB8, 0xD1, 0x86, 0x95, 0xF4, 0x57, 0xD3, 0xC1)
__CRT_UUID_DECL(orventa::winrt::IDirect3D11CaptureFrame,
                0xFA50C623, 0x38DA, 0x4B32, 0xAC, 0xF3, 0xFA, 0x97, 0x34, 0xAD, 0x80, 0x0E)
__CRT_UUID_DECL(orventa::winrt::IGraphicsCaptureSession,
                0x814E42A9, 0xF70F, 0x4AD7, 0x93, 0x9B, 0xFD, 0xDC, 0xC6, 0xEB, 0x88, 0x0D)
__CRT_UUID_DECL(orventa::winrt::IGraphicsCaptureSession2,
                0x2C39AE40, 0x7D2E, 0x5044, 0x80, 0x4E, 0x8B, 0x67, 0x99, 0xD4, 0xCF, 0x9E)
__CRT_UUID_DECL(orventa::winrt::IGraphicsCaptureSession3,
                0xF2CDD966, 0x22AE, 0x5EA1, 0x95, 0x96, 0x3A, 0x28, 0x93, 0x44, 0xC3, 0xBE)
__CRT_UUID_DECL(orventa::winrt::IGraphicsCaptureSession5,
                0x67C0EA62, 0x1F85, 0x5061, 0x92, 0x5A, 0x23, 0x9B, 0xE0, 0xAC, 0x09, 0xCB)
__CRT_UUID_DECL(orventa::winrt::IGraphicsCaptureSessionStatics,
                0x2224A540, 0x5974, 0x49AA, 0xB2, 0x32, 0x08, 0x82, 0x53, 0x6F, 0x4C, 0xB5)
__CRT_UUID_DECL(orventa::winrt::IDirect3D11CaptureFramePool,
                0x24EB6D22, 0x1975, 0x422E, 0x82, 0xE7, 0x78, 0x0D, 0xBD, 0x8D, 0xDF, 0x24)
__CRT_UUID_DECL(orventa::winrt::IDirect3D11CaptureFramePoolStatics2,
                0x589B103F, 0x6BBC, 0x5DF5, 0xA9, 0x91, 0x02, 0xE2, 0x8B, 0x3B, 0x66, 0xD5)
// clang-format on
