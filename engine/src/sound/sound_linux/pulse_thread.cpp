#include "sound/sound_linux/pulse_thread.h"

namespace orventa {
namespace {

// Between turns in which nothing comes; the follower wants to be asked now and then.
constexpr uint64_t kLongestTurnNs = 100 * kNsPerMs;
constexpr uint64_t kLookForServerNs = 500 * kNsPerMs;

}  // namespace

PulseThread::PulseThread(IClock& clock, PulseServer& server, IPulseListener& listener,
                         Following following, const std::string& chosen, const std::string& what)
    : clock_(clock),
      server_(server),
      listener_(listener),
      follower_(clock, listener, following, chosen, what) {}

PulseThread::~PulseThread() {
  Stop();
}

void PulseThread::Start() {
  if (thread_ != nullptr) return;
  server_.Resume();
  thread_ = clock_.StartThread("sound", ThreadPriority::FrameClock, [this] { Run(); });
}

void PulseThread::Stop() {
  if (thread_ == nullptr) return;
  server_.Interrupt();
  thread_->Join();
  thread_.reset();
}

void PulseThread::Run() {
  follower_.SetRunning(true);
  while (!server_.IsInterrupted()) {
    server_.Connect();
    server_.Turn(clock_.SteadyNs() + kLongestTurnNs);
    const bool news = server_.TakeNews();
    if (news) follower_.Notice();
    if (follower_.IsOpen() && !listener_.Serve(news)) follower_.Lose(SoundTrouble::NotFound);
    if (server_.IsConnecting()) continue;
    follower_.Check();
    if (server_.WasRefused()) follower_.SetTrouble(SoundTrouble::Denied);
    if (!server_.IsReady()) server_.Turn(clock_.SteadyNs() + kLookForServerNs);
  }
  follower_.SetRunning(false);
  follower_.Close();
  server_.Disconnect();
}

}  // namespace orventa
