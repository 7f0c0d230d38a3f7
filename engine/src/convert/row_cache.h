// Remembers which source rows have been decoded into which slot of a scratch buffer,
// since neighbouring output rows share them. One frame painter each.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace orventa {

class RowCache {
 public:
  // At least as many slots as rows are used together.
  explicit RowCache(size_t slots) : entries_(slots) {}

  struct Found {
    size_t slot;
    bool filled;  // else the caller fills the slot now
  };
  // The row's slot; that of the row unused for longest if it has none.
  Found Find(uint32_t row) {
    Entry* oldest = &entries_[0];
    ++uses_;
    for (Entry& entry : entries_) {
      if (entry.last_use != 0 && entry.row == row) {
        entry.last_use = uses_;
        return {Slot(entry), true};
      }
      if (entry.last_use < oldest->last_use) oldest = &entry;
    }
    *oldest = {row, uses_};
    return {Slot(*oldest), false};
  }

  // Before every frame.
  void Forget() {
    for (Entry& entry : entries_) entry = {};
    uses_ = 0;
  }

 private:
  struct Entry {
    uint32_t row = 0;
    uint64_t last_use = 0;  // 0: empty
  };

  size_t Slot(const Entry& entry) const { return static_cast<size_t>(&entry - entries_.data()); }

  std::vector<Entry> entries_;
  uint64_t uses_ = 0;
};

}  // namespace orventa
