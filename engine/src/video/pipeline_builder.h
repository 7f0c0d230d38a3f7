// Builds a pipeline, step by step; the first failure is the build's. Engine thread.
#pragma once

#include <memory>
#include <optional>

#include "base/status.h"
#include "video/engine_core.h"
#include "video/pipeline.h"

namespace orventa {

class PipelineBuilder {
 public:
  // `last_target`: the target of the pipeline before, whose window keeps its claim; as
  // it is made when there was none. `last_sound`: how that pipeline's sound was laid
  // out, if it had any. Both must outlive the builder.
  PipelineBuilder(EngineCore& core, const FoundTarget& last_target,
                  const std::optional<SoundLayout>& last_sound);

  // NoTarget and NoEncoder are ordinary answers.
  Status Build(std::unique_ptr<Pipeline>& out);

 private:
  Status FindTargetAndDevice();
  void TakeSettings();
  Status OpenCapture();
  Status WaitForFirstFrame();
  Status OpenVideoEncoder();
  Status OpenConverter();
  void OpenSound();
  Status DescribeStream();
  void DescribeSound();
  void PublishRunning();
  void CountHistoryReset(bool lost);

  EngineCore& core_;
  const FoundTarget& last_target_;
  const std::optional<SoundLayout>& last_sound_;
  std::unique_ptr<Pipeline> pipeline_;
};

// Fills the status record's fields about the target.
void PublishTarget(StatusBoard& status, const FoundTarget& target);

}  // namespace orventa
