// Capturing a display whose every frame is new, on an X server of the bench's own.
// The limit to compare with is a plain copy of as many bytes.
#include <sys/resource.h>

#include <cstdio>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "base/clock.h"
#include "benchmarks/bench.h"
#include "support_linux/private_display.h"
#include "support_linux/x11_painter.h"
#include "video/video_linux/x11_capture.h"

namespace orventa::bench {
namespace {

constexpr int kFrames = 200;

double CpuSeconds() {
  rusage usage = {};
  getrusage(RUSAGE_SELF, &usage);
  const auto seconds = [](const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
  };
  return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

// On a processor, ever since the server began: nanoseconds of its scheduler.
double ServerCpuSeconds(const PrivateDisplay& display) {
  const std::string path = "/proc/" + std::to_string(display.pid()) + "/schedstat";
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "r"),
                                                             std::fclose);
  double ns = 0;
  if (file == nullptr || std::fscanf(file.get(), "%lf", &ns) != 1) {
    throw std::runtime_error("cannot read " + path);
  }
  return ns * 1e-9;
}

double CopyMs(uint32_t width, uint32_t height) {
  const std::vector<uint8_t> from(size_t{width} * height * 4, 1);
  std::vector<uint8_t> to(from.size());
  std::vector<double> times;
  for (int i = 0; i < kFrames; ++i) {
    const double start = Seconds();
    std::memcpy(to.data(), from.data(), from.size());
    times.push_back(Seconds() - start);
  }
  return Median(times) * 1e3;
}

void MeasureRoot(uint32_t width, uint32_t height, const std::string& name, std::vector<Row>& rows) {
  const PrivateDisplay display(std::to_string(width) + "x" + std::to_string(height) + "x24");
  const DisplayVariable variable(display.name());
  const std::unique_ptr<IClock> clock = MakeSystemClock();
  X11Painter painter;
  std::unique_ptr<IVideoCapture> capture;
  CaptureOptions options;
  Status status = X11Capture::Create(*clock, {}, options, capture);
  if (status.ok()) status = capture->Start();
  if (!status.ok()) throw std::runtime_error(status.ToString());

  CapturedFrame frame;
  std::vector<double> times;
  double cpu = 0;
  while (times.size() < kFrames) {
    // One pixel is as new as a whole picture: the capture takes all of it.
    painter.Fill(painter.root(), {0, 0, 1, 1}, static_cast<uint32_t>(times.size()));
    const double cpu_before = CpuSeconds() + ServerCpuSeconds(display);
    const double start = Seconds();
    while (!capture->TryAcquire(frame) || !frame.fresh) {
    }
    times.push_back(Seconds() - start);
    cpu += CpuSeconds() + ServerCpuSeconds(display) - cpu_before;
  }
  rows.push_back({"capture." + name + "_ms", Median(times) * 1e3});
  rows.push_back({"capture." + name + "_cpu_ms", cpu / kFrames * 1e3});
}

std::vector<Row> MeasureCapture() {
  std::vector<Row> rows;
  MeasureRoot(1280, 720, "root_720p", rows);
  MeasureRoot(1920, 1080, "root_1080p", rows);
  rows.push_back({"capture.copy_1080p_ms", CopyMs(1920, 1080)});
  return rows;
}

const Register kCapture("capture", MeasureCapture);

}  // namespace
}  // namespace orventa::bench
