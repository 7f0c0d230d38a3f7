#include "video/packet_sink.h"

#include <utility>

namespace orventa {

void PacketSink::Take(EncodedPacket packet) {
  status_.NotePacket(static_cast<uint64_t>(packet.pts), clock_.SteadyNs());
  recorder_.TakeVideo(packet);
  history_->Append(std::move(packet));
}

}  // namespace orventa
