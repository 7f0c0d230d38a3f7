// The device that captures, converters and encoders of one pipeline share: a
// graphics card on Windows, memory on Linux. Opaque to portable code; the
// platform's parts know the class behind it. Owned by the engine through shared
// ownership, since a save or an export may outlive a pipeline.
#pragma once

#include <cstdint>
#include <string>

namespace orventa {

class GraphicsDevice {
 public:
  virtual ~GraphicsDevice() = default;

  // The driver's name of the adapter; empty when it has none.
  virtual const std::string& AdapterName() const = 0;
  // Which adapter this is, as far as encoders are concerned: the same number
  // means that what one device could encode the other can, too.
  virtual uint64_t AdapterKey() const = 0;
  // 0 while the device works; else the driver's reason for its removal. Cheap:
  // asked once a frame.
  virtual uint32_t RemovedReason() const = 0;
  // Hands recorded work to the card at once. Nothing in memory.
  virtual void Flush() = 0;
};

}  // namespace orventa
