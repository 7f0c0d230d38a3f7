// The payloads of a snapshot that stay on disk until somebody wants them. Keeps
// the history, and with it the payload files, alive, and reports back when it is
// gone. Used by one thread at a time; takes the history's lock only at its end.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "base/files.h"
#include "media/packet.h"
#include "video/payload_files.h"

namespace orventa {

class ReplayBuffer;

class DeferredPayloads final : public IDeferredPayloads {
 public:
  // The history must have a snapshot open for this object, which closes it.
  DeferredPayloads(std::shared_ptr<ReplayBuffer> history, std::string folder, std::string prefix);
  ~DeferredPayloads() override;
  DeferredPayloads(const DeferredPayloads&) = delete;
  DeferredPayloads& operator=(const DeferredPayloads&) = delete;

  // Returns the row's index.
  uint64_t Add(const PayloadPlace& place);
  void Reserve(size_t rows) { rows_.reserve(rows); }

  Payload Read(uint64_t index) override;
  uint64_t Size(uint64_t index) const override;

 private:
  Payload ReadRow(const PayloadPlace& place);

  std::shared_ptr<ReplayBuffer> history_;
  std::string folder_;
  std::string prefix_;
  std::vector<PayloadPlace> rows_;
  InputFile file_;
  uint64_t open_segment_ = 0;  // which file `file_` is, while it is open
  uint32_t failed_reads_ = 0;
};

}  // namespace orventa
