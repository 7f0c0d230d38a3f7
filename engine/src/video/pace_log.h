// Rows about where each frame slot's time went, for looking at stutter: kept in
// memory while a pipeline runs and written as it ends. Off unless the environment
// variable ORVENTA_PACE_LOG names a file. Engine thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "base/files.h"

namespace orventa {

struct PaceRow {
  uint64_t slot = 0;
  uint64_t reached = 0;  // the slot that the clock had reached
  uint32_t acquire_us = 0;
  uint32_t convert_us = 0;
  uint32_t submit_us = 0;
  uint32_t collect_us = 0;
  uint32_t rest_us = 0;
  uint32_t drain_us = 0;
  bool fresh = false;
};

class PaceLog {
 public:
  static constexpr size_t kMaxRows = 1'048'576;

  // An empty path: off.
  explicit PaceLog(const std::string& path);

  bool on() const { return file_.IsOpen(); }
  // Never allocates; rows beyond kMaxRows are dropped.
  void Add(const PaceRow& row) {
    if (rows_.size() < rows_.capacity()) rows_.push_back(row);
  }
  // Writes the rows with their header behind those of earlier pipelines.
  void Write();

 private:
  OutputFile file_;
  std::vector<PaceRow> rows_;
};

}  // namespace orventa
