// Where within a window's picture the part lies that the window draws itself: title
// bar and borders are not for the file. Engine thread.
#pragma once

#include <windows.h>

#include <d3d11.h>

#include <optional>

#include "video/video_win/capture_abi.h"

namespace orventa {

// `window` and `client` on the desktop; `content` is the size of the picture. Nothing:
// the client area is all of it, or does not lie within.
std::optional<D3D11_BOX> CropToClient(const RECT& window, const RECT& client,
                                      winrt::SizeInt32 content);

// The same for a window as it stands now; nothing, too, for one that is gone.
std::optional<D3D11_BOX> MeasureClientCrop(HWND window, winrt::SizeInt32 content);

}  // namespace orventa
