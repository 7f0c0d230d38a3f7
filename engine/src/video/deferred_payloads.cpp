#include "video/deferred_payloads.h"

#include <utility>

#include "video/replay_buffer.h"

namespace orventa {

DeferredPayloads::DeferredPayloads(std::shared_ptr<ReplayBuffer> history, std::string folder,
                                   std::string prefix)
    : history_(std::move(history)), folder_(std::move(folder)), prefix_(std::move(prefix)) {}

DeferredPayloads::~DeferredPayloads() {
  file_.Close();  // before the history deletes it
  history_->ReleaseSnapshot(failed_reads_);
}

uint64_t DeferredPayloads::Add(const PayloadPlace& place) {
  rows_.push_back(place);
  return rows_.size() - 1;
}

Payload DeferredPayloads::Read(uint64_t index) {
  if (index >= rows_.size()) return {};
  Payload payload = ReadRow(rows_[index]);
  if (!payload) ++failed_reads_;
  return payload;
}

uint64_t DeferredPayloads::Size(uint64_t index) const {
  return index < rows_.size() ? rows_[index].size : 0;
}

Payload DeferredPayloads::ReadRow(const PayloadPlace& place) {
  if (!file_.IsOpen() || open_segment_ != place.segment) {
    file_.Close();
    if (!file_.Open(PayloadPath(folder_, prefix_, place.segment)).ok()) return {};
    open_segment_ = place.segment;
  }
  Payload payload = Payload::Allocate(place.size);
  size_t read = 0;
  const FileResult result = file_.ReadAt(place.offset, payload.mutable_bytes(), read);
  return result.ok() && read == place.size ? payload : Payload();
}

}  // namespace orventa
