// The places where dynamic range probing, screenshots, presses and the webcam join a
// pipeline. None of them is built yet: every operation is called at its place in the
// order and answers that there is nothing to do.
// Engine thread.
#pragma once

namespace orventa {

class PipelineParts {
 public:
  // Dynamic range.
  bool RangeUndecided() const { return false; }
  void OpenProbe() {}
  void FeedProbe() {}
  void CollectBrightness() {}

  // Screenshots.
  void ServeScreenshot() {}
  void FinishScreenshot() {}

  // Webcam and presses.
  void SteerWebcam() {}
  void StopWebcamTimes() {}
  void StopWebcam() {}
  void ClearWebcam() {}
  void ClosePresses() {}
};

}  // namespace orventa
