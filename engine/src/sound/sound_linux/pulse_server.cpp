#include "sound/sound_linux/pulse_server.h"

#include <algorithm>
#include <utility>

#include "base/text.h"

namespace orventa {
namespace {

std::string TextOf(const char* text) {
  return text == nullptr ? std::string() : std::string(text);
}

std::string Property(const pa_proplist* list, const char* key) {
  return TextOf(pa_proplist_gets(list, key));
}

constexpr uint64_t kConnectTimeoutNs = 5 * kNsPerSecond;

// What a request leaves behind goes on without us.
void Forget(pa_operation* operation) {
  if (operation != nullptr) pa_operation_unref(operation);
}

}  // namespace

const PulseDevice* FindPulseDevice(const std::vector<PulseDevice>& devices, std::string_view id) {
  const auto found = std::find_if(devices.begin(), devices.end(),
                                  [id](const PulseDevice& one) { return one.id == id; });
  return found == devices.end() ? nullptr : &*found;
}

void PulseServer::DropContext::operator()(pa_context* context) const {
  pa_context_set_state_callback(context, nullptr, nullptr);
  pa_context_set_subscribe_callback(context, nullptr, nullptr);
  pa_context_disconnect(context);
  pa_context_unref(context);
}

PulseServer::PulseServer(IClock& clock) : clock_(clock), loop_(pa_mainloop_new()) {}

PulseServer::~PulseServer() {
  Disconnect();
}

void PulseServer::Connect() {
  if (context_ != nullptr) return;
  pa_proplist* const about = pa_proplist_new();
  pa_proplist_sets(about, PA_PROP_APPLICATION_NAME, "ORVENTA");
  context_.reset(pa_context_new_with_proplist(pa_mainloop_get_api(loop_.get()), "ORVENTA", about));
  pa_proplist_free(about);
  pa_context_set_state_callback(context_.get(), &OnContext, this);
  pa_context_set_subscribe_callback(context_.get(), &OnEvent, this);
  connect_until_ns_ = clock_.SteadyNs() + kConnectTimeoutNs;
  refused_ = false;
  lost_ = false;
  // Starting a sound server is for the desktop and for those who play something.
  if (pa_context_connect(context_.get(), nullptr, PA_CONTEXT_NOAUTOSPAWN, nullptr) < 0) {
    Disconnect();
  }
}

void PulseServer::Disconnect() {
  context_.reset();
  news_ = news_ || ready_;
  ready_ = false;
  lost_ = false;
  refreshing_ = false;
  stale_ = false;
  state_ = {};
}

void PulseServer::Interrupt() {
  interrupted_ = true;
  pa_mainloop_wakeup(loop_.get());
}

void PulseServer::Turn(uint64_t until_ns) {
  if (interrupted_) until_ns = 0;
  const uint64_t now_ns = clock_.SteadyNs();
  const uint64_t wait_us = until_ns > now_ns ? (until_ns - now_ns) / 1000 + 1 : 0;
  constexpr uint64_t kLongestUs = 1'000'000;
  if (pa_mainloop_prepare(loop_.get(), static_cast<int>(std::min(wait_us, kLongestUs))) < 0 ||
      pa_mainloop_poll(loop_.get()) < 0 || pa_mainloop_dispatch(loop_.get()) < 0) {
    lost_ = true;
  }
  if (lost_ || (IsConnecting() && clock_.SteadyNs() >= connect_until_ns_)) Disconnect();
  if (stale_ && !refreshing_) Refresh();
}

bool PulseServer::TakeNews() {
  return std::exchange(news_, false);
}

void PulseServer::OnContext(pa_context* context, void* self) {
  auto& server = *static_cast<PulseServer*>(self);
  switch (pa_context_get_state(context)) {
    case PA_CONTEXT_READY: server.Subscribe(); break;
    case PA_CONTEXT_FAILED:
    case PA_CONTEXT_TERMINATED: {
      const int error = pa_context_errno(context);
      server.refused_ = error == PA_ERR_ACCESS || error == PA_ERR_AUTHKEY;
      server.lost_ = true;
      break;
    }
    default: break;
  }
}

void PulseServer::Subscribe() {
  constexpr auto kWanted = static_cast<pa_subscription_mask_t>(
      PA_SUBSCRIPTION_MASK_SERVER | PA_SUBSCRIPTION_MASK_SINK | PA_SUBSCRIPTION_MASK_SOURCE |
      PA_SUBSCRIPTION_MASK_SINK_INPUT);
  Forget(pa_context_subscribe(context_.get(), kWanted, nullptr, nullptr));
  stale_ = true;
}

void PulseServer::OnEvent(pa_context*, pa_subscription_event_type_t, uint32_t, void* self) {
  static_cast<PulseServer*>(self)->stale_ = true;
}

// Answers come in the order of the requests; the last one completes the state.
void PulseServer::Refresh() {
  stale_ = false;
  refreshing_ = true;
  next_ = {};
  Forget(pa_context_get_server_info(context_.get(), &OnServer, this));
  Forget(pa_context_get_sink_info_list(context_.get(), &OnSink, this));
  Forget(pa_context_get_source_info_list(context_.get(), &OnSource, this));
  Forget(pa_context_get_sink_input_info_list(context_.get(), &OnPlayer, this));
}

void PulseServer::OnServer(pa_context*, const pa_server_info* info, void* self) {
  if (info == nullptr) return;
  PulseState& next = static_cast<PulseServer*>(self)->next_;
  next.default_output = TextOf(info->default_sink_name);
  next.default_input = TextOf(info->default_source_name);
}

void PulseServer::OnSink(pa_context*, const pa_sink_info* info, int end, void* self) {
  if (end != 0) return;
  static_cast<PulseServer*>(self)->next_.outputs.push_back(
      {TextOf(info->name), TextOf(info->description), TextOf(info->monitor_source_name),
       info->sample_spec, info->channel_map, false});
}

void PulseServer::OnSource(pa_context*, const pa_source_info* info, int end, void* self) {
  if (end != 0) return;
  static_cast<PulseServer*>(self)->next_.inputs.push_back(
      {TextOf(info->name), TextOf(info->description), TextOf(info->name), info->sample_spec,
       info->channel_map, info->monitor_of_sink != PA_INVALID_INDEX});
}

void PulseServer::OnPlayer(pa_context*, const pa_sink_input_info* info, int end, void* self) {
  auto& server = *static_cast<PulseServer*>(self);
  if (end != 0) return server.Publish();
  PulsePlayer player;
  player.index = info->index;
  const auto pid = ParseUnsigned(Property(info->proplist, PA_PROP_APPLICATION_PROCESS_ID));
  if (pid && *pid <= UINT32_MAX) player.pid = static_cast<uint32_t>(*pid);
  player.program = Property(info->proplist, PA_PROP_APPLICATION_PROCESS_BINARY);
  player.corked = info->corked != 0;
  server.next_.players.push_back(std::move(player));
}

void PulseServer::Publish() {
  state_ = std::move(next_);
  refreshing_ = false;
  ready_ = true;
  news_ = true;
}

}  // namespace orventa
