#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "base/clock.h"
#include "capture_driver.h"
#include "support_linux/private_display.h"
#include "support_linux/x11_painter.h"
#include "video/video_linux/video_linux.h"

namespace orventa {
namespace {

TEST(LinuxGraphics, BringsTheScreenToWhatEncodersTake) {
  const PrivateDisplay display("640x360x24");
  const DisplayVariable variable(display.name());
  const std::unique_ptr<IClock> clock = MakeSystemClock();
  const std::unique_ptr<IGraphics> graphics = MakeLinuxGraphics(*clock);

  std::shared_ptr<GraphicsDevice> device;
  std::string adapter = "as before";
  ASSERT_TRUE(graphics->MakeDevice("no such card", device, adapter).ok());
  EXPECT_EQ(adapter, "");
  EXPECT_EQ(device->RemovedReason(), 0U);

  X11Painter painter;
  painter.Fill(painter.root(), {0, 0, 320, 360}, 0xFFFFFF);
  painter.Fill(painter.root(), {320, 0, 320, 360}, 0x000000);
  CaptureOptions options;
  options.capture_cursor = false;
  std::unique_ptr<IVideoCapture> capture;
  ASSERT_TRUE(graphics->CreateCapture(*device, {}, options, capture).ok());
  ASSERT_TRUE(capture->Start().ok());
  CaptureDriver driver(*capture);
  ASSERT_TRUE(driver.UntilPixel(0, 0, 0xFFFFFF));

  ConverterSettings settings;
  settings.input_width = 640;
  settings.input_height = 360;
  settings.width = 320;
  settings.height = 180;
  std::unique_ptr<IFrameConverter> converter;
  ASSERT_TRUE(graphics->CreateConverter(*device, settings, converter).ok());
  PictureRef picture;
  ASSERT_TRUE(converter->Convert(driver.frame.picture, picture).ok());
  const PlaneView& luma = picture->InMemory()->plane(0);
  EXPECT_EQ(luma.data[luma.stride * 90 + 20], 235);  // white and black of video range
  EXPECT_EQ(luma.data[luma.stride * 90 + 300], 16);
}

}  // namespace
}  // namespace orventa
