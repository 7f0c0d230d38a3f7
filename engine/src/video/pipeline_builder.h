// Builds a pipeline, step by step; the first failure is the build's. Engine thread.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "base/status.h"
#include "video/engine_core.h"
#include "video/pipeline.h"

namespace orventa {

class PipelineBuilder {
 public:
  // `last_identity`: the target of the pipeline before, empty when there was none.
  // `last_window`: the window captured last, which keeps its claim.
  PipelineBuilder(EngineCore& core, std::string last_identity, uint64_t last_window);

  // NoTarget and NoEncoder are ordinary answers.
  Status Build(std::unique_ptr<Pipeline>& out);

 private:
  Status FindTargetAndDevice();
  void TakeSettings();
  Status OpenCapture();
  Status WaitForFirstFrame();
  Status OpenVideoEncoder();
  Status OpenConverter();
  Status DescribeStream();
  void PublishRunning();
  void CountHistoryReset(bool lost);

  EngineCore& core_;
  std::string last_identity_;
  uint64_t last_window_;
  std::unique_ptr<Pipeline> pipeline_;
};

// Fills the status record's fields about the target.
void PublishTarget(StatusBoard& status, const FoundTarget& target);

}  // namespace orventa
