// A queue in one block of memory, for what comes and goes at a steady rate: it grows
// to the greatest length it had and allocates nothing after that, where std::deque
// makes and frees a node every few elements. No thread safety of its own.
#pragma once

#include <cstddef>
#include <utility>
#include <vector>

namespace orventa {

// Elements that left are default values until their place is taken again.
template <class T>
class Ring {
 public:
  bool empty() const { return size_ == 0; }
  size_t size() const { return size_; }
  T& operator[](size_t index) { return slots_[SlotOf(index)]; }
  const T& operator[](size_t index) const { return slots_[SlotOf(index)]; }
  T& front() { return (*this)[0]; }
  const T& front() const { return (*this)[0]; }
  T& back() { return (*this)[size_ - 1]; }
  const T& back() const { return (*this)[size_ - 1]; }

  void push_back(T value) {
    if (size_ == slots_.size()) Grow();
    slots_[SlotOf(size_)] = std::move(value);
    ++size_;
  }
  T take_front() {
    T value = std::exchange(front(), T());
    first_ = SlotOf(1);
    --size_;
    return value;
  }
  T take_back() {
    T value = std::exchange(back(), T());
    --size_;
    return value;
  }

 private:
  // The number of slots is a power of two.
  size_t SlotOf(size_t index) const { return (first_ + index) & (slots_.size() - 1); }

  void Grow() {
    std::vector<T> larger(slots_.empty() ? 16 : slots_.size() * 2);
    for (size_t i = 0; i < size_; ++i) larger[i] = std::move((*this)[i]);
    slots_.swap(larger);
    first_ = 0;
  }

  std::vector<T> slots_;
  size_t first_ = 0;
  size_t size_ = 0;
};

}  // namespace orventa
