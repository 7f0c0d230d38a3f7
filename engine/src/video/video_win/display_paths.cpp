#include "video/video_win/display_paths.h"

namespace orventa {

std::vector<DISPLAYCONFIG_PATH_INFO> ActiveDisplayPaths() {
  constexpr int kTries = 3;  // the sizes may be outdated when they are used
  for (int i = 0; i < kTries; ++i) {
    UINT32 paths = 0;
    UINT32 modes = 0;
    if (GetDisplayConfigBufferSizes(QDC_ONLY_ACTIVE_PATHS, &paths, &modes) != ERROR_SUCCESS) break;
    std::vector<DISPLAYCONFIG_PATH_INFO> path_list(paths);
    std::vector<DISPLAYCONFIG_MODE_INFO> mode_list(modes);
    const LONG result = QueryDisplayConfig(QDC_ONLY_ACTIVE_PATHS, &paths, path_list.data(), &modes,
                                           mode_list.data(), nullptr);
    if (result == ERROR_INSUFFICIENT_BUFFER) continue;
    if (result != ERROR_SUCCESS) break;
    path_list.resize(paths);
    return path_list;
  }
  return {};
}

}  // namespace orventa
