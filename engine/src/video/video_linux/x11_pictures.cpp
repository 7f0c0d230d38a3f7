#include "video/video_linux/x11_pictures.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>
#include <xcb/shm.h>

#include <algorithm>
#include <atomic>
#include <utility>

namespace orventa {
namespace {

constexpr size_t kBytesPerPixel = 4;
constexpr uint32_t kAllPlanes = 0xFFFFFFFF;
// One shown, one being fetched, and two that a slow reader may hold.
constexpr size_t kMaxSlots = 4;

size_t PictureBytes(uint32_t width, uint32_t height) {
  return size_t{width} * height * kBytesPerPixel;
}

std::shared_ptr<MemoryPicture> ShowBytes(uint32_t width, uint32_t height, uint8_t* bytes,
                                         std::shared_ptr<void> keep_alive) {
  return std::make_shared<MemoryPicture>(
      PixelFormat::Bgra8, width, height,
      std::array<PlaneView, 2>{PlaneView{bytes, width * kBytesPerPixel}, PlaneView{}},
      std::move(keep_alive));
}

// Memory that the server can map: a file without a name that can no longer
// change its size under either side. -1 when the system has none.
int MakeShareableFile(size_t bytes) {
  const int fd = memfd_create("orventa-picture", MFD_CLOEXEC | MFD_ALLOW_SEALING);
  if (fd < 0) return -1;
  if (ftruncate(fd, static_cast<off_t>(bytes)) != 0 ||
      fcntl(fd, F_ADD_SEALS, F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_SEAL) != 0) {
    close(fd);
    return -1;
  }
  return fd;
}

}  // namespace

X11Pictures::X11Pictures(X11Connection& connection)
    : connection_(connection), shared_(connection.extensions().shared_memory) {}

X11Pictures::~X11Pictures() {
  DropSlots();
}

bool X11Pictures::Ask(const PixelSource& source) {
  const bool same_size = asked_.width == source.width && asked_.height == source.height;
  if (!same_size) DropSlots();
  asked_ = source;
  if (shared_ && AskShared(source)) return true;
  if (!slots_.empty()) return false;  // every picture is held
  shared_ = false;                    // not even one piece of memory can be had
  sequence_ = xcb_get_image(connection_.xcb(), XCB_IMAGE_FORMAT_Z_PIXMAP, source.drawable, source.x,
                            source.y, source.width, source.height, kAllPlanes)
                  .sequence;
  return true;
}

bool X11Pictures::AskShared(const PixelSource& source) {
  target_ = FreeSlot();
  if (target_ == nullptr) return false;
  sequence_ =
      xcb_shm_get_image(connection_.xcb(), source.drawable, source.x, source.y, source.width,
                        source.height, kAllPlanes, XCB_IMAGE_FORMAT_Z_PIXMAP, target_->segment, 0)
          .sequence;
  return true;
}

X11Pictures::Fetch X11Pictures::Collect(uint64_t until_ns,
                                        std::shared_ptr<MemoryPicture>& picture) {
  XReply<void> reply;
  switch (connection_.AwaitUntil(sequence_, until_ns, reply)) {
    case X11Connection::Answer::Waiting: return Fetch::Waiting;
    case X11Connection::Answer::Lost: return Fetch::Lost;
    case X11Connection::Answer::Refused: OnRefused(); return Fetch::Refused;
    case X11Connection::Answer::Came: break;
  }
  sequence_ = 0;
  if (shared_) {
    sharing_proven_ = true;
    picture = target_->picture;
    return Fetch::Done;
  }
  auto* image = static_cast<xcb_get_image_reply_t*>(reply.get());
  const auto length = static_cast<size_t>(xcb_get_image_data_length(image));
  if (length < PictureBytes(asked_.width, asked_.height)) return Fetch::Refused;
  uint8_t* const bytes = xcb_get_image_data(image);
  picture = ShowBytes(asked_.width, asked_.height, bytes,
                      std::shared_ptr<void>(reply.release(), std::free));
  return Fetch::Done;
}

void X11Pictures::OnRefused() {
  sequence_ = 0;
  if (!shared_ || sharing_proven_) return;
  // The server may be unable to map our memory: then pixels come over the socket.
  shared_ = false;
  DropSlots();
}

bool X11Pictures::IsOnlyOurs(const std::shared_ptr<MemoryPicture>& picture) const {
  const bool pooled = std::any_of(slots_.begin(), slots_.end(),
                                  [&picture](const Slot& slot) { return slot.picture == picture; });
  return picture.use_count() == (pooled ? 2 : 1);
}

X11Pictures::Slot* X11Pictures::FreeSlot() {
  for (Slot& slot : slots_) {
    if (slot.picture.use_count() != 1) continue;
    // The last other holder may have been another thread: its reads are over.
    std::atomic_thread_fence(std::memory_order_acquire);
    return &slot;
  }
  if (slots_.size() >= kMaxSlots || !AddSlot()) return nullptr;
  return &slots_.back();
}

bool X11Pictures::AddSlot() {
  const size_t bytes = PictureBytes(asked_.width, asked_.height);
  const int fd = MakeShareableFile(bytes);
  if (fd < 0) return false;
  void* const memory = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
  if (memory == MAP_FAILED) {
    close(fd);
    return false;
  }
  const std::shared_ptr<void> mapping(memory, [bytes](void* start) { munmap(start, bytes); });
  Slot slot;
  slot.segment = xcb_generate_id(connection_.xcb());
  xcb_shm_attach_fd(connection_.xcb(), slot.segment, fd, 0);  // closes our descriptor
  slot.picture = ShowBytes(asked_.width, asked_.height, static_cast<uint8_t*>(memory), mapping);
  slots_.reserve(kMaxSlots);  // `target_` points into it
  slots_.push_back(std::move(slot));
  return true;
}

void X11Pictures::DropSlots() {
  for (const Slot& slot : slots_) xcb_shm_detach(connection_.xcb(), slot.segment);
  slots_.clear();
  target_ = nullptr;
}

}  // namespace orventa
