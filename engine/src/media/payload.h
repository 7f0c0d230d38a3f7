// The bytes of one access unit: shared, immutable once filled, in a single
// allocation of 16 bytes beyond the bytes themselves, since a history holds
// hundreds of thousands. Copies share; any thread may read.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <span>
#include <utility>

namespace orventa {

class Payload {
 public:
  Payload() = default;  // none: no bytes at all, as told apart from zero bytes
  ~Payload() { Release(); }
  Payload(const Payload& other) noexcept : block_(other.block_) {
    if (block_ != nullptr) block_->references.fetch_add(1, std::memory_order_relaxed);
  }
  Payload(Payload&& other) noexcept : block_(std::exchange(other.block_, nullptr)) {}
  Payload& operator=(Payload other) noexcept {
    std::swap(block_, other.block_);
    return *this;
  }

  // Throws std::bad_alloc.
  static Payload Copy(std::span<const uint8_t> bytes);
  // Bytes of undefined value, to be filled through `mutable_bytes` before the
  // payload is shared.
  static Payload Allocate(size_t size);

  explicit operator bool() const { return block_ != nullptr; }
  size_t size() const { return block_ != nullptr ? block_->size : 0; }
  std::span<const uint8_t> bytes() const {
    return block_ != nullptr ? std::span<const uint8_t>(block_->data(), block_->size)
                             : std::span<const uint8_t>();
  }
  // Valid until the payload is copied.
  std::span<uint8_t> mutable_bytes() {
    return block_ != nullptr ? std::span<uint8_t>(block_->data(), block_->size)
                             : std::span<uint8_t>();
  }
  // Hints that a copy will soon be made or dropped: the count that this touches lies
  // with the bytes, out of every cache for most of a long history.
  void Prefetch() const { __builtin_prefetch(block_, 1); }
  bool SharesWith(const Payload& other) const { return block_ == other.block_; }

 private:
  struct Block {
    std::atomic<uint32_t> references;
    size_t size;
    uint8_t* data() { return reinterpret_cast<uint8_t*>(this + 1); }
    const uint8_t* data() const { return reinterpret_cast<const uint8_t*>(this + 1); }
  };
  static_assert(sizeof(Block) == 16);

  void Release() noexcept;

  Block* block_ = nullptr;
};

}  // namespace orventa
