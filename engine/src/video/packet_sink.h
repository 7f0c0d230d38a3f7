// Where packets go as they leave the encoder: into the history, and in time into
// a recording. Encoder worker.
#pragma once

#include <memory>

#include "base/clock.h"
#include "media/packet.h"
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
  PacketSink(IClock& clock, StatusBoard& status, std::shared_ptr<ReplayBuffer> history)
      : clock_(clock), status_(status), history_(std::move(history)) {}

  void Take(EncodedPacket packet) override;

 private:
  IClock& clock_;
  StatusBoard& status_;
  std::shared_ptr<ReplayBuffer> history_;
};

}  // namespace orventa
