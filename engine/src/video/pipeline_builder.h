// Builds a pipeline, step by step; the first failure is the build's. Engine thread.
#pragma once

#include <memory>

#include "base/status.h"
#include "video/engine_core.h"
#include "video/pipeline.h"

namespace orventa {

class PipelineBuilder {
 public:
  // `last`: the target of the pipeline before, whose window keeps its claim; as it is
  // made when there was none. Must outlive the builder.
  PipelineBuilder(EngineCore& core, const FoundTarget& last);

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
  const FoundTarget& last_;
  std::unique_ptr<Pipeline> pipeline_;
};

// Fills the status record's fields about the target.
void PublishTarget(StatusBoard& status, const FoundTarget& target);

}  // namespace orventa
