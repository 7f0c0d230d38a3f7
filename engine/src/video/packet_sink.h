// Where packets go as they leave the encoder: into the history, and into a recording
// that is open, both of which share the payload. Encoder worker.
#pragma once

#include <memory>

#include "base/clock.h"
#include "media/packet.h"
#include "video/recorder.h"
#include "video/replay_buffer.h"
#include "video/status_board.h"

namespace orventa {

class IPacketSink {
 public:
  virtual ~IPacketSink() = default;
  virtual void Take(EncodedPacket packet) = 0;
};

class PacketSink final : public IPacketSink {
 public:
  PacketSink(IClock& clock, StatusBoard& status, Recorder& recorder,
             std::shared_ptr<ReplayBuffer> history)
      : clock_(clock), status_(status), recorder_(recorder), history_(std::move(history)) {}

  void Take(EncodedPacket packet) override;

 private:
  IClock& clock_;
  StatusBoard& status_;
  Recorder& recorder_;
  std::shared_ptr<ReplayBuffer> history_;
};

}  // namespace orventa
