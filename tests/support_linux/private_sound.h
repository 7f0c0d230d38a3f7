// A sound server of a test's own, in a folder of its own, that nobody hears: an output
// "speakers", and an input "microphone" that hears what is played to "room". While it
// lives PULSE_SERVER names it. Commands to it go through pactl, and programs that play
// are real ones.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <vector>

namespace orventa {

class PrivateSound {
 public:
  // Waits until it takes clients. Throws std::runtime_error when it does not start.
  PrivateSound();
  ~PrivateSound();
  PrivateSound(const PrivateSound&) = delete;
  PrivateSound& operator=(const PrivateSound&) = delete;

  const std::string& folder() const { return folder_; }
  // Ends the server at once, as a crash would; starts another in its place.
  void Kill();
  void Start();
  // What pactl answers; throws when it refuses.
  std::string Command(const std::string& words);
  // Makes an output; the answer takes it away again.
  std::string AddOutput(const std::string& name, uint32_t rate);

 private:
  std::string folder_;
  std::string before_;  // PULSE_SERVER
  pid_t pid_ = -1;
};

// A program that plays a steady tone, of half the greatest loudness, while it lives.
class TonePlayer {
 public:
  enum class As { Itself, ChildOfShell };
  TonePlayer(const PrivateSound& sound, double hz, const std::string& output = "",
             As as = As::Itself);
  ~TonePlayer();
  TonePlayer(const TonePlayer&) = delete;
  TonePlayer& operator=(const TonePlayer&) = delete;

  uint32_t pid() const { return static_cast<uint32_t>(pid_); }  // of the shell, if there is one

 private:
  pid_t pid_ = -1;
};

}  // namespace orventa
