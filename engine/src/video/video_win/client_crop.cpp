#include "video/video_win/client_crop.h"

#include <dwmapi.h>

#include "video/video_win/physical_pixels.h"

namespace orventa {

std::optional<D3D11_BOX> CropToClient(const RECT& window, const RECT& client,
                                      winrt::SizeInt32 content) {
  const LONG left = client.left - window.left;
  const LONG top = client.top - window.top;
  const LONG right = left + client.right - client.left;
  const LONG bottom = top + client.bottom - client.top;
  if (left < 0 || top < 0 || right <= left || bottom <= top || right > content.Width ||
      bottom > content.Height) {
    return std::nullopt;
  }
  if (left == 0 && top == 0 && right == content.Width && bottom == content.Height) {
    return std::nullopt;
  }
  return D3D11_BOX{static_cast<UINT>(left),  static_cast<UINT>(top),    0,
                   static_cast<UINT>(right), static_cast<UINT>(bottom), 1};
}

std::optional<D3D11_BOX> MeasureClientCrop(HWND window, winrt::SizeInt32 content) {
  const PhysicalPixels physical_pixels;
  RECT frame{};
  RECT client{};
  POINT origin{};
  // As the compositor shows it: the window's own rectangle has invisible borders, where
  // there is a compositor to hide them.
  if (FAILED(DwmGetWindowAttribute(window, DWMWA_EXTENDED_FRAME_BOUNDS, &frame,
                                   DWORD{sizeof(frame)})) &&
      GetWindowRect(window, &frame) == 0) {
    return std::nullopt;
  }
  if (GetClientRect(window, &client) == 0 || ClientToScreen(window, &origin) == 0) {
    return std::nullopt;
  }
  OffsetRect(&client, origin.x, origin.y);
  return CropToClient(frame, client, content);
}

}  // namespace orventa
