#include "video/video_linux/x11_capture.h"

#include <xcb/damage.h>

#include <algorithm>
#include <utility>

namespace orventa {
namespace {

// Half a frame: the other half is for converting and encoding.
uint64_t Patience(uint32_t fps) {
  return std::clamp(kNsPerSecond / std::max(fps, 1U) / 2, 2 * kNsPerMs, 20 * kNsPerMs);
}

}  // namespace

Status X11Capture::Create(IClock& clock, const CaptureTarget& target, const CaptureOptions& options,
                          std::unique_ptr<IVideoCapture>& out) {
  std::unique_ptr<X11Connection> connection;
  Status status = X11Connection::Open(clock, connection);
  if (!status.ok()) return status;
  std::unique_ptr<IX11Source> source;
  status = MakeX11Source(*connection, target, source);
  if (!status.ok()) return status;
  out.reset(new X11Capture(clock, options, std::move(connection), std::move(source)));
  return Status::Ok();
}

X11Capture::X11Capture(IClock& clock, const CaptureOptions& options,
                       std::unique_ptr<X11Connection> connection,
                       std::unique_ptr<IX11Source> source)
    : clock_(clock),
      patience_ns_(Patience(options.fps)),
      connection_(std::move(connection)),
      source_(std::move(source)),
      pictures_(*connection_),
      width_(source_->pixels().width),
      height_(source_->pixels().height) {
  if (options.capture_cursor && connection_->extensions().fixes) {
    cursor_.emplace(*connection_, source_->frame_of_reference());
  }
}

Status X11Capture::Start() {
  if (connection_->extensions().damage && damage_ == 0) {
    damage_ = xcb_generate_id(connection_->xcb());
    xcb_damage_create(connection_->xcb(), damage_, source_->drawn(),
                      XCB_DAMAGE_REPORT_LEVEL_BOUNDING_BOX);
  }
  xcb_flush(connection_->xcb());
  dirty_ = true;
  const Status health = connection_->Health();
  running_ = health.ok();
  return health;
}

void X11Capture::Stop() {
  running_ = false;
  last_.reset();
  if (damage_ != 0) xcb_damage_destroy(connection_->xcb(), damage_);
  damage_ = 0;
}

bool X11Capture::TryAcquire(CapturedFrame& frame) {
  if (!running_) return false;
  frame.picture.reset();  // the pointer may be moved within it from here on
  const uint64_t start_ns = clock_.SteadyNs();
  ReadEvents();
  if (source_->Settle()) dirty_ = true;
  ThrowIfBroken();
  const uint64_t drained_ns = clock_.SteadyNs();

  Ask();
  const uint64_t until_ns = drained_ns + patience_ns_;
  if (cursor_) cursor_->Collect(until_ns);
  const bool new_picture = CollectPicture(until_ns);
  ThrowIfBroken();
  const bool redrawn = DrawCursor(new_picture);
  if (last_ == nullptr) return false;

  if (redrawn && !new_picture) last_ns_ = drained_ns;
  frame.picture = last_;
  frame.width = last_->width();
  frame.height = last_->height();
  frame.time_ns = last_ns_;
  frame.fresh = new_picture || redrawn;
  frame.drain_us = static_cast<uint32_t>((drained_ns - start_ns) / 1000);
  frame.size_changed = frame.width != width_ || frame.height != height_;
  // One more picture follows a change of size, so that the settled size is seen
  // in a fresh frame even when nothing is drawn any more.
  if (frame.size_changed) dirty_ = true;
  width_ = frame.width;
  height_ = frame.height;
  return true;
}

void X11Capture::ReadEvents() {
  while (const XEvent event = connection_->NextEvent()) {
    if (event->response_type == 0) continue;  // the error of a request whose object went away
    OnDamage(*event);
    source_->OnEvent(*event);
    if (cursor_) cursor_->OnEvent(*event);
  }
  ThrowIfBroken();
}

void X11Capture::OnDamage(const xcb_generic_event_t& event) {
  if (damage_ == 0 ||
      EventType(event) != connection_->extensions().damage_event + XCB_DAMAGE_NOTIFY)
    return;
  const auto& damage = reinterpret_cast<const xcb_damage_notify_event_t&>(event);
  if (damage.damage == damage_ && source_->IsShown(damage.area)) dirty_ = true;
}

void X11Capture::Ask() {
  if (cursor_) cursor_->Ask();
  const PixelSource& pixels = source_->pixels();
  if (!dirty_ || pixels.drawable == 0 || source_->IsGone() || pictures_.IsFetching()) return;
  // Before the picture is taken: what is drawn later counts as new damage.
  if (damage_ != 0) xcb_damage_subtract(connection_->xcb(), damage_, 0, 0);
  if (!pictures_.Ask(pixels)) return;
  asked_ns_ = clock_.SteadyNs();
  dirty_ = damage_ == 0;
}

// Whether a new picture came.
bool X11Capture::CollectPicture(uint64_t until_ns) {
  if (!pictures_.IsFetching()) return false;
  std::shared_ptr<MemoryPicture> picture;
  switch (pictures_.Collect(until_ns, picture)) {
    case X11Pictures::Fetch::Done: break;
    case X11Pictures::Fetch::Refused:
      dirty_ = true;  // events that are on their way tell where the pixels went
      return false;
    case X11Pictures::Fetch::Waiting:
    case X11Pictures::Fetch::Lost: return false;
  }
  last_ = std::move(picture);
  last_ns_ = asked_ns_;
  return true;
}

X11Capture::CursorPlace X11Capture::CursorNow() const {
  const int x = cursor_->x() - source_->left();
  const int y = cursor_->y() - source_->top();
  if (!cursor_->on_screen() || !CursorPainter::Touches(*last_, cursor_->shape(), x, y)) return {};
  return {true, x, y, cursor_->shape_number()};
}

// Draws the pointer into a new picture, or moves it within the last one. Whether
// anything changed.
bool X11Capture::DrawCursor(bool new_picture) {
  if (!cursor_ || last_ == nullptr) return false;
  const CursorPlace place = CursorNow();
  if (!new_picture) {
    if (place == drawn_place_) return false;
    if (!pictures_.IsOnlyOurs(last_)) {
      dirty_ = true;  // somebody reads the picture: the pointer moves in a new one
      return false;
    }
  }
  if (!new_picture && drawn_place_.shown) painter_.Erase(*last_);
  drawn_place_ = place;
  if (place.shown) painter_.Draw(*last_, cursor_->shape(), place.x, place.y);
  return true;
}

void X11Capture::ThrowIfBroken() const {
  const Status health = connection_->Health();
  if (!health.ok()) throw CaptureError(health.message());
}

}  // namespace orventa
