// The groups of a snapshot, shared with the history, and their payloads: in memory,
// or on disk until somebody wants them. Keeps the history, and with it the payload
// files, alive, and reports back when it is gone. Used by one thread at a time; takes
// the history's lock only at its end.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "base/files.h"
#include "media/packet.h"
#include "video/keyframe_group_pool.h"

namespace orventa {

class ReplayBuffer;

class DeferredPayloads final : public IDeferredPayloads {
 public:
  using Groups = std::vector<KeyframeGroupRef>;

  // The history must have a snapshot open for this object, which closes it.
  DeferredPayloads(std::shared_ptr<ReplayBuffer> history, std::string folder, std::string prefix,
                   Groups groups);
  ~DeferredPayloads() override;
  DeferredPayloads(const DeferredPayloads&) = delete;
  DeferredPayloads& operator=(const DeferredPayloads&) = delete;

  // A packet by its place in a group.
  static uint64_t IndexOf(size_t group, size_t packet) {
    return static_cast<uint64_t>(group) << 32U | packet;
  }

  const Groups& groups() const { return groups_; }
  size_t PacketCount() const;
  Payload Read(uint64_t index) override;
  uint64_t Size(uint64_t index) const override;

 private:
  const HeldPacket* Find(uint64_t index) const;
  Payload ReadFromFile(uint64_t segment, const HeldPacket& packet);

  std::shared_ptr<ReplayBuffer> history_;
  std::string folder_;
  std::string prefix_;
  Groups groups_;
  InputFile file_;
  uint64_t open_segment_ = 0;  // which file `file_` is, while it is open
  uint32_t failed_reads_ = 0;
};

}  // namespace orventa
