// The rank of this process when programs compete for the graphics card. Any thread.
#pragma once

namespace orventa {

enum class GpuScheduling { Normal, High, Realtime };

// Lets the card's scheduler prefer this process, so that a game that takes all of the
// card does not starve the encoder. The highest class where the user's rights allow
// it, else the one below; says which it became. Normal also where the system has no
// such call.
GpuScheduling RaiseGpuScheduling();

}  // namespace orventa
