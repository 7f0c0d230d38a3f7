// Keeps the microphone out of the recording while nobody speaks into it or no key is
// held. Engine thread.
#pragma once

#include <cstdint>
#include <span>

namespace orventa {

class MicrophoneGate {
 public:
  // `threshold_db` below full scale; a `rate` of 0 counts as 48000. A later set-up
  // keeps the gain where it is, so that nothing clicks.
  void SetUp(bool push_to_talk, bool gate, int32_t threshold_db, uint32_t rate);
  void SetHeld(bool held) { held_ = held; }

  // Interleaved stereo of one length: `detect` decides, `target` is faded.
  void Run(std::span<const int16_t> detect, std::span<int16_t> target);

  // What was decided at the last frame.
  bool last_open() const { return last_open_; }
  float gain() const { return gain_; }

 private:
  bool KeyWants();
  bool LevelPasses(const int16_t* frame);

  bool push_to_talk_ = false;
  bool gate_ = false;
  bool configured_ = false;
  int32_t open_level_ = 0;  // of 16-bit samples
  int32_t close_level_ = 0;
  float attack_step_ = 0;  // a frame
  float release_step_ = 0;
  uint32_t hold_frames_ = 0;
  uint32_t tail_frames_ = 0;

  bool held_ = false;
  bool is_open_ = false;
  uint32_t hold_left_ = 0;
  uint32_t tail_left_ = 0;
  float gain_ = 1;
  bool last_open_ = false;
};

}  // namespace orventa
