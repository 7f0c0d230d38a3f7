#include "media/media_win/gpu_scheduling.h"

#include <windows.h>

#include "base/base_win/win32.h"
#include "base/log.h"

namespace orventa {
namespace {

// The import headers have neither the call nor its numbers.
using SetClass = LONG(WINAPI*)(HANDLE process, int scheduling_class);
constexpr struct {
  int number;
  GpuScheduling name;
} kClasses[] = {
    {5, GpuScheduling::Realtime},  // asks for a privilege that an ordinary user lacks
    {4, GpuScheduling::High},      // above every game
};

}  // namespace

GpuScheduling RaiseGpuScheduling() {
  static const auto set_class =
      SystemFunction<SetClass>(L"gdi32.dll", "D3DKMTSetProcessSchedulingPriorityClass");
  if (set_class == nullptr) return GpuScheduling::Normal;
  for (const auto& scheduling : kClasses) {
    const LONG result = set_class(GetCurrentProcess(), scheduling.number);
    if (result >= 0) return scheduling.name;
    LogInfo("gpu: scheduling class %d was refused (0x%08lX)", scheduling.number,
            static_cast<unsigned long>(result));
  }
  return GpuScheduling::Normal;
}

}  // namespace orventa
