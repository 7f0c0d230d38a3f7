// The demo game's voice: short tones, each heard at a time that is told ahead. It
// plays silence between them, so that the server's account of what is heard when
// stands by the time a tone is due. Without a sound server it stays silent, says so
// once and looks for one again. Any thread.
#pragma once

#include <cstdint>
#include <memory>

#include "base/clock.h"

namespace orventa {

// A tone is handed to the server about a fifth of a second before it is heard.
inline constexpr uint64_t kBeepLeadNs = 400 * kNsPerMs;
inline constexpr uint64_t kBeepLengthNs = 50 * kNsPerMs;
inline constexpr uint32_t kBeepHz = 1000;

class Beeper {
 public:
  // Prints under the name of `program`. The clock must outlive it.
  Beeper(IClock& clock, const char* program);
  ~Beeper();
  Beeper(const Beeper&) = delete;
  Beeper& operator=(const Beeper&) = delete;

  // The next tone begins to be heard at this time of the steady clock; takes the
  // place of one that is not handed over yet.
  void At(uint64_t steady_ns);
  // Whether a tone would be heard now.
  bool IsPlaying() const;

 private:
  class Player;
  const std::unique_ptr<Player> player_;
};

}  // namespace orventa
