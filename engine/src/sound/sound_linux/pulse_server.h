// A connection to the sound server by PulseAudio's protocol, which PipeWire speaks as
// well: a main loop that the owner's thread turns, and what the server tells of its
// devices and players, kept up to date by its events. Used by the captures, each of
// which has a connection of its own, so that none waits for another. One thread;
// Interrupt from any. Nothing is called back outside Turn.
#pragma once

#include <pulse/pulseaudio.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "base/clock.h"

namespace orventa {

struct PulseDevice {
  std::string id;      // the server's name for it, kept over restarts
  std::string name;    // for people
  std::string source;  // what to record from
  pa_sample_spec spec = {};
  pa_channel_map map = {};
  bool is_monitor = false;  // an input that hears an output
};

// A stream that some process plays.
struct PulsePlayer {
  uint32_t index = PA_INVALID_INDEX;
  uint32_t pid = 0;     // 0: not told
  std::string program;  // file name, as the process told it; may be empty
  bool corked = false;
};

struct PulseState {
  std::string default_output;  // ids; empty: none
  std::string default_input;
  std::vector<PulseDevice> outputs;
  std::vector<PulseDevice> inputs;  // with the monitors
  std::vector<PulsePlayer> players;
};

// Null when there is none.
const PulseDevice* FindPulseDevice(const std::vector<PulseDevice>& devices, std::string_view id);

class PulseServer {
 public:
  explicit PulseServer(IClock& clock);
  ~PulseServer();
  PulseServer(const PulseServer&) = delete;
  PulseServer& operator=(const PulseServer&) = delete;

  // Begins to connect, unless that has been done. A server that does not answer
  // for a few seconds counts as none.
  void Connect();
  void Disconnect();
  // Serves what has come; waits for it until then, or until it is interrupted.
  void Turn(uint64_t until_ns);
  // Ends a wait, and keeps others from beginning until Resume.
  void Interrupt();
  void Resume() { interrupted_ = false; }
  bool IsInterrupted() const { return interrupted_; }

  // Connected, and the state is known.
  bool IsReady() const { return ready_; }
  bool IsConnecting() const { return context_ != nullptr && !ready_; }
  // The server is there and would not have us.
  bool WasRefused() const { return refused_; }
  // Whether the state or the connection has changed since the last call.
  bool TakeNews();
  const PulseState& state() const { return state_; }
  pa_context* context() const { return context_.get(); }

 private:
  struct FreeLoop {
    void operator()(pa_mainloop* loop) const { pa_mainloop_free(loop); }
  };
  struct DropContext {
    void operator()(pa_context* context) const;
  };

  static void OnContext(pa_context* context, void* self);
  static void OnEvent(pa_context* context, pa_subscription_event_type_t, uint32_t, void* self);
  static void OnServer(pa_context* context, const pa_server_info* info, void* self);
  static void OnSink(pa_context* context, const pa_sink_info* info, int end, void* self);
  static void OnSource(pa_context* context, const pa_source_info* info, int end, void* self);
  static void OnPlayer(pa_context* context, const pa_sink_input_info* info, int end, void* self);
  void Subscribe();
  void Refresh();
  void Publish();

  IClock& clock_;
  const std::unique_ptr<pa_mainloop, FreeLoop> loop_;
  std::unique_ptr<pa_context, DropContext> context_;
  std::atomic<bool> interrupted_{false};
  uint64_t connect_until_ns_ = 0;
  bool ready_ = false;
  bool refused_ = false;
  bool lost_ = false;        // the context is to be dropped once its callbacks are done
  bool refreshing_ = false;  // lists are on their way into next_
  bool stale_ = false;       // something changed since they were asked for
  bool news_ = false;
  PulseState state_;
  PulseState next_;
};

}  // namespace orventa
