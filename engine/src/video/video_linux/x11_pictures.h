// Fetches pixels from the X server into pictures: into a few shared memory pieces
// that are used again and again, or over the socket where the server shares no
// memory. A fetch is asked for and collected in two steps, so that a busy server
// delays no frame slot. Used by X11Capture, on its thread.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "base/status.h"
#include "media/memory_picture.h"
#include "video/video_linux/x11_connection.h"
#include "video/video_linux/x11_sources.h"

namespace orventa {

class X11Pictures {
 public:
  explicit X11Pictures(X11Connection& connection);
  ~X11Pictures();
  X11Pictures(const X11Pictures&) = delete;
  X11Pictures& operator=(const X11Pictures&) = delete;

  bool IsFetching() const { return sequence_ != 0; }
  // Asks for the pixels. False when every picture is still held by somebody, or
  // memory for one more cannot be had. Only while nothing is being fetched.
  bool Ask(const PixelSource& source);

  enum class Fetch { Waiting, Done, Refused, Lost };
  // Collects what was asked for, waiting until the steady clock reaches the time.
  // Done: `picture` is the new one. Refused: the rectangle is not there any more.
  Fetch Collect(uint64_t until_ns, std::shared_ptr<MemoryPicture>& picture);

  // Whether nobody but the caller (one reference) and this pool holds the picture.
  bool IsOnlyOurs(const std::shared_ptr<MemoryPicture>& picture) const;

 private:
  struct Slot {
    uint32_t segment = 0;  // the server's name for the memory
    std::shared_ptr<MemoryPicture> picture;
  };
  Slot* FreeSlot();
  bool AddSlot();
  void DropSlots();
  void OnRefused();
  bool AskShared(const PixelSource& source);

  X11Connection& connection_;
  bool shared_;
  bool sharing_proven_ = false;  // one picture came that way
  std::vector<Slot> slots_;
  Slot* target_ = nullptr;  // of the fetch under way, when shared
  PixelSource asked_;
  unsigned sequence_ = 0;  // 0: none under way
};

}  // namespace orventa
