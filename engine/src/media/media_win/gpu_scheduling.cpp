#include "media/media_win/gpu_scheduling.h"

#include <windows.h>

#include "base/base_win/win32.h"
#include "base/text.h"

namespace orventa {
namespace {

// The import headers have neither the call nor its numbers.
constexpr int kTopClass = 5;   // asks for a privilege that an ordinary user lacks
constexpr int kHighClass = 4;  // above every game
using SetClass = LONG(WINAPI*)(HANDLE process, int scheduling_class);

}  // namespace

Status RaiseGpuSchedulingClass() {
  static const auto set_class =
      SystemFunction<SetClass>(L"gdi32.dll", "D3DKMTSetProcessSchedulingPriorityClass");
  if (set_class == nullptr) {
    return {StatusCode::Unsupported, "no scheduling classes for the card here"};
  }
  LONG result = 0;
  for (const int scheduling_class : {kTopClass, kHighClass}) {
    result = set_class(GetCurrentProcess(), scheduling_class);
    if (result >= 0) return Status::Ok();
  }
  return {StatusCode::Refused, Format("the card's scheduling class was refused (0x%08lX)",
                                      static_cast<unsigned long>(result))};
}

}  // namespace orventa
