#include "sound/sound_linux/pulse_stream.h"

#include <algorithm>
#include <utility>

#include "base/text.h"

namespace orventa {
namespace {

// What the server gathers before it sends: also how far it lets an output run ahead.
constexpr uint32_t kPacketMs = 10;
constexpr uint32_t kHeldMs = 1000;
constexpr uint64_t kAskEveryNs = 100 * kNsPerMs;
constexpr auto kNsPerUs = int64_t{1000};
// The engine reads a tenth of a second late. A device that needs longer than this to
// hand out what it heard is taken to have heard it later, or it would never be heard.
constexpr int64_t kMostLagNs = 70 * static_cast<int64_t>(kNsPerMs);
constexpr uint64_t kLagStretchNs = 3 * kNsPerSecond;

// PulseAudio's places in the order of the bits that Windows gives them, from 0x1.
constexpr pa_channel_position_t kPlaces[] = {
    PA_CHANNEL_POSITION_FRONT_LEFT,
    PA_CHANNEL_POSITION_FRONT_RIGHT,
    PA_CHANNEL_POSITION_FRONT_CENTER,
    PA_CHANNEL_POSITION_LFE,
    PA_CHANNEL_POSITION_REAR_LEFT,
    PA_CHANNEL_POSITION_REAR_RIGHT,
    PA_CHANNEL_POSITION_FRONT_LEFT_OF_CENTER,
    PA_CHANNEL_POSITION_FRONT_RIGHT_OF_CENTER,
    PA_CHANNEL_POSITION_REAR_CENTER,
    PA_CHANNEL_POSITION_SIDE_LEFT,
    PA_CHANNEL_POSITION_SIDE_RIGHT,
    PA_CHANNEL_POSITION_TOP_CENTER,
    PA_CHANNEL_POSITION_TOP_FRONT_LEFT,
    PA_CHANNEL_POSITION_TOP_FRONT_CENTER,
    PA_CHANNEL_POSITION_TOP_FRONT_RIGHT,
    PA_CHANNEL_POSITION_TOP_REAR_LEFT,
    PA_CHANNEL_POSITION_TOP_REAR_CENTER,
    PA_CHANNEL_POSITION_TOP_REAR_RIGHT,
};

SoundTrouble TroubleOf(int error) {
  switch (error) {
    case PA_ERR_ACCESS:
    case PA_ERR_AUTHKEY: return SoundTrouble::Denied;
    case PA_ERR_BUSY: return SoundTrouble::Busy;
    case PA_ERR_NOENTITY:
    case PA_ERR_CONNECTIONREFUSED:
    case PA_ERR_CONNECTIONTERMINATED:
    case PA_ERR_KILLED: return SoundTrouble::NotFound;
    default: return SoundTrouble::Failed;
  }
}

// The server tells times by the wall clock, read in the same moment on both sides.
int64_t ToSteadyNs(IClock& clock, const timeval& then) {
  timeval now = {};
  pa_gettimeofday(&now);
  const auto steady_ns = static_cast<int64_t>(clock.SteadyNs());
  const int64_t ago_us =
      (int64_t{now.tv_sec} - then.tv_sec) * 1'000'000 + (int64_t{now.tv_usec} - then.tv_usec);
  return steady_ns - ago_us * kNsPerUs;
}

}  // namespace

PulseSpeakers OrderSpeakers(const pa_channel_map& map) {
  PulseSpeakers speakers;
  if (map.channels <= 2) {
    speakers.map = map;
    return speakers;
  }
  uint32_t bit = 1;
  for (const pa_channel_position_t place : kPlaces) {
    if (std::find(map.map, map.map + map.channels, place) != map.map + map.channels) {
      speakers.map.map[speakers.map.channels++] = place;
      speakers.mask |= bit;
    }
    bit <<= 1;
  }
  // The server mixes what has places of its own kind, or one place twice.
  if (speakers.map.channels != map.channels) {
    speakers.mask = 0;
    pa_channel_map_init_stereo(&speakers.map);
  }
  return speakers;
}

void PulseStream::Drop::operator()(pa_stream* stream) const {
  pa_stream_set_state_callback(stream, nullptr, nullptr);
  pa_stream_set_read_callback(stream, nullptr, nullptr);
  pa_stream_disconnect(stream);
  pa_stream_unref(stream);
}

// An answer that comes later is not called back.
void PulseStream::Drop::operator()(pa_operation* request) const {
  pa_operation_cancel(request);
  pa_operation_unref(request);
}

PulseStream::PulseStream(IClock& clock, PulseServer& server, CaptureQueue& queue)
    : clock_(clock), server_(server), queue_(queue) {}

PulseStream::~PulseStream() {
  Close();
}

bool PulseStream::Open(const PulseStreamTarget& target) {
  Close();
  const PulseSpeakers speakers = OrderSpeakers(target.map);
  spec_ = target.spec;
  spec_.format = PA_SAMPLE_FLOAT32NE;
  spec_.channels = speakers.map.channels;
  downmix_ = Downmix(SampleKind::Float32, spec_.channels, speakers.mask);

  pa_proplist* const about = pa_proplist_new();
  pa_proplist_sets(about, PA_PROP_MEDIA_NAME, target.purpose);
  pa_proplist_sets(about, PA_PROP_MEDIA_ROLE, "production");
  // A microphone as it is: no filter is put before it on our account.
  pa_proplist_sets(about, "filter.suppress", "echo-cancel");
  stream_.reset(
      pa_stream_new_with_proplist(server_.context(), target.purpose, &spec_, &speakers.map, about));
  pa_proplist_free(about);
  if (stream_ == nullptr) {
    error_ = pa_context_errno(server_.context());
    return false;
  }
  pa_stream_set_state_callback(stream_.get(), &OnState, this);
  pa_stream_set_read_callback(stream_.get(), &OnSound, this);
  if (target.player != PA_INVALID_INDEX) {
    pa_stream_set_monitor_stream(stream_.get(), target.player);
  }
  const auto bytes = [this](uint32_t ms) {
    return static_cast<uint32_t>(pa_usec_to_bytes(pa_usec_t{ms} * 1000, &spec_));
  };
  constexpr auto kDefault = static_cast<uint32_t>(-1);
  const pa_buffer_attr buffer = {bytes(kHeldMs), kDefault, kDefault, kDefault, bytes(kPacketMs)};
  // Which device is to be heard is decided here, not by the server.
  unsigned flags = PA_STREAM_DONT_MOVE | PA_STREAM_ADJUST_LATENCY;
  if (!target.at_once) flags |= PA_STREAM_START_CORKED;
  const char* const source = target.source.empty() ? nullptr : target.source.c_str();
  if (pa_stream_connect_record(stream_.get(), source, &buffer,
                               static_cast<pa_stream_flags_t>(flags)) < 0) {
    error_ = pa_context_errno(server_.context());
    stream_.reset();
    return false;
  }
  queue_.PushFormat(spec_.rate);
  return true;
}

bool PulseStream::IsPending() const {
  return stream_ != nullptr && pa_stream_get_state(stream_.get()) == PA_STREAM_CREATING;
}

bool PulseStream::IsGood() const {
  return stream_ != nullptr && PA_STREAM_IS_GOOD(pa_stream_get_state(stream_.get()));
}

void PulseStream::Start() {
  if (pa_operation* const cork = pa_stream_cork(stream_.get(), 0, nullptr, nullptr)) {
    pa_operation_unref(cork);
  }
}

void PulseStream::Close() {
  asking_.reset();
  stream_.reset();
  timed_ = untimeable_ = false;
  next_ask_ns_ = 0;
  least_lag_ns_ = former_least_lag_ns_ = INT64_MAX;
}

DeviceResult PulseStream::Failure() const {
  return {Status(StatusCode::DriverError, Format("the sound server says: %s", pa_strerror(error_))),
          TroubleOf(error_)};
}

void PulseStream::OnState(pa_stream* stream, void* self) {
  if (pa_stream_get_state(stream) != PA_STREAM_FAILED) return;
  static_cast<PulseStream*>(self)->error_ = pa_context_errno(pa_stream_get_context(stream));
}

void PulseStream::OnSound(pa_stream*, size_t, void* self) {
  auto& stream = *static_cast<PulseStream*>(self);
  stream.AskForTiming();
  stream.TakeSound();
}

void PulseStream::AskForTiming() {
  if (asking_ != nullptr || clock_.SteadyNs() < next_ask_ns_) return;
  asking_.reset(pa_stream_update_timing_info(stream_.get(), &OnTiming, this));
}

void PulseStream::OnTiming(pa_stream* stream, int success, void* self) {
  auto& me = *static_cast<PulseStream*>(self);
  me.asking_.reset();
  me.next_ask_ns_ = me.clock_.SteadyNs() + kAskEveryNs;
  const pa_timing_info* const info = success != 0 ? pa_stream_get_timing_info(stream) : nullptr;
  if (info == nullptr || info->read_index_corrupt != 0) {
    me.untimeable_ = !me.timed_;
  } else {
    me.TakeTiming(*info);
  }
  me.TakeSound();
}

// At the told moment the frame that the server would queue next had been heard for
// `source_usec`, and, if it is played, was `sink_usec` short of being heard. Frames
// queued before it and not read yet were heard earlier by their length.
void PulseStream::TakeTiming(const pa_timing_info& info) {
  const int64_t queued = std::max<int64_t>(info.write_index - info.read_index, 0);
  const auto queued_us =
      static_cast<int64_t>(pa_bytes_to_usec(static_cast<uint64_t>(queued), &spec_));
  const int64_t heard_us =
      static_cast<int64_t>(info.sink_usec) - static_cast<int64_t>(info.source_usec) - queued_us;
  next_ns_ = ToSteadyNs(clock_, info.timestamp) + heard_us * kNsPerUs;
  timed_ = true;
}

// Until the first time is known, sound waits in the server's queue.
void PulseStream::TakeSound() {
  if (!timed_ && !untimeable_) return;
  const uint64_t arrival_ns = clock_.SteadyNs();
  for (;;) {
    const void* data = nullptr;
    size_t bytes = 0;
    if (pa_stream_peek(stream_.get(), &data, &bytes) < 0 || bytes == 0) return;
    Push(data, bytes, arrival_ns);
    pa_stream_drop(stream_.get());
  }
}

void PulseStream::Push(const void* data, size_t bytes, uint64_t arrival_ns) {
  SoundRecord record;
  record.frames = static_cast<uint32_t>(bytes / pa_frame_size(&spec_));
  record.rate = spec_.rate;
  record.arrival_ns = arrival_ns;
  if (data == nullptr) record.flags |= kSoundSilent;  // a hole in the server's queue
  if (timed_) record.device_ns = HeardNs(record.frames, arrival_ns);
  queue_.PushFrames(record, downmix_, data);
}

uint64_t PulseStream::HeardNs(uint32_t frames, uint64_t arrival_ns) {
  const int64_t begin_ns = next_ns_;
  next_ns_ += static_cast<int64_t>(frames * kNsPerSecond / spec_.rate);
  if (arrival_ns >= stretch_end_ns_) {
    stretch_end_ns_ = arrival_ns + kLagStretchNs;
    former_least_lag_ns_ = std::exchange(least_lag_ns_, INT64_MAX);
  }
  least_lag_ns_ = std::min(least_lag_ns_, static_cast<int64_t>(arrival_ns) - next_ns_);
  const int64_t lag_ns = std::min(least_lag_ns_, former_least_lag_ns_);
  const int64_t later_ns = std::max<int64_t>(lag_ns - kMostLagNs, 0);
  return static_cast<uint64_t>(std::max<int64_t>(begin_ns + later_ns, 1));
}

}  // namespace orventa
