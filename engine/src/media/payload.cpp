#include "media/payload.h"

#include <cstring>
#include <new>

namespace orventa {

Payload Payload::Allocate(size_t size) {
  Payload payload;
  void* memory = ::operator new(sizeof(Block) + size);
  payload.block_ = new (memory) Block{{1}, size};
  return payload;
}

Payload Payload::Copy(std::span<const uint8_t> bytes) {
  Payload payload = Allocate(bytes.size());
  if (!bytes.empty()) std::memcpy(payload.block_->data(), bytes.data(), bytes.size());
  return payload;
}

void Payload::Release() noexcept {
  if (block_ == nullptr) return;
  if (block_->references.fetch_sub(1, std::memory_order_acq_rel) != 1) return;
  block_->~Block();
  ::operator delete(block_);
}

}  // namespace orventa
