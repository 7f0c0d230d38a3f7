// The thread of a capture: turns its server's connection and follows what is to be
// heard. Started, stopped and asked by the capture; what listens is called on the
// thread alone, and on the caller's while there is none.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "base/clock.h"
#include "sound/capture.h"
#include "sound/device_follower.h"
#include "sound/sound_linux/pulse_server.h"

namespace orventa {

class IPulseListener : public ISoundDevice {
 public:
  // After each turn of the server while it is open. `news`: the server's state has
  // changed. False: what was open is gone.
  virtual bool Serve(bool news) = 0;
};

class PulseThread {
 public:
  // All must outlive this. The rest as DeviceFollower has it.
  PulseThread(IClock& clock, PulseServer& server, IPulseListener& listener, Following following,
              const std::string& chosen, const std::string& what);
  ~PulseThread();

  void Start();
  void Stop();
  bool IsRunning() const { return thread_ != nullptr; }
  std::vector<DeviceStint> Trail() const { return follower_.Trail(); }
  std::string Trouble() const { return follower_.Trouble(); }

 private:
  void Run();

  IClock& clock_;
  PulseServer& server_;
  IPulseListener& listener_;
  DeviceFollower follower_;
  std::unique_ptr<IThread> thread_;
};

}  // namespace orventa
