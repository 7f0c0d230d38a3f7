#include "video/deferred_payloads.h"

#include <utility>

#include "video/payload_files.h"
#include "video/replay_buffer.h"

namespace orventa {
namespace {

size_t GroupOf(uint64_t index) {
  return static_cast<size_t>(index >> 32U);
}

}  // namespace

DeferredPayloads::DeferredPayloads(std::shared_ptr<ReplayBuffer> history, std::string folder,
                                   std::string prefix, Groups groups)
    : history_(std::move(history)),
      folder_(std::move(folder)),
      prefix_(std::move(prefix)),
      groups_(std::move(groups)) {}

DeferredPayloads::~DeferredPayloads() {
  file_.Close();  // before the history deletes it
  history_->ReleaseSnapshot(failed_reads_);
}

size_t DeferredPayloads::PacketCount() const {
  size_t count = 0;
  for (const KeyframeGroupRef& group : groups_) count += group->packets.size();
  return count;
}

Payload DeferredPayloads::Read(uint64_t index) {
  const HeldPacket* packet = Find(index);
  if (packet == nullptr) return {};
  if (packet->payload) return packet->payload;
  if (packet->size == 0) return Payload::Allocate(0);
  Payload payload = ReadFromFile(groups_[GroupOf(index)]->segment, *packet);
  if (!payload) ++failed_reads_;
  return payload;
}

uint64_t DeferredPayloads::Size(uint64_t index) const {
  const HeldPacket* packet = Find(index);
  return packet != nullptr ? packet->size : 0;
}

const HeldPacket* DeferredPayloads::Find(uint64_t index) const {
  if (GroupOf(index) >= groups_.size()) return nullptr;
  const std::vector<HeldPacket>& packets = groups_[GroupOf(index)]->packets;
  const size_t packet = index & UINT32_MAX;
  return packet < packets.size() ? &packets[packet] : nullptr;
}

Payload DeferredPayloads::ReadFromFile(uint64_t segment, const HeldPacket& packet) {
  if (!file_.IsOpen() || open_segment_ != segment) {
    file_.Close();
    if (!file_.Open(PayloadPath(folder_, prefix_, segment)).ok()) return {};
    open_segment_ = segment;
  }
  Payload payload = Payload::Allocate(packet.size);
  size_t read = 0;
  const FileResult result = file_.ReadAt(packet.offset, payload.mutable_bytes(), read);
  return result.ok() && read == packet.size ? payload : Payload();
}

}  // namespace orventa
