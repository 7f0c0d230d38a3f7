#include "sound/sound_win/mf_aac.h"

#include <gtest/gtest.h>

#include "tests/sound_aac/platform_aac.h"

namespace orventa {

Status test::MakeAacEncoder(const AacSettings& settings, std::unique_ptr<IAacEncoder>& out) {
  return MakeMfAacEncoder(settings, out);
}

namespace {

// Wine has no such transform; a Windows without media parts has no Media Foundation.
TEST(MfAac, SaysWhenThereIsNone) {
  std::unique_ptr<IAacEncoder> encoder;
  const Status made = MakeMfAacEncoder({}, encoder);
  if (made.ok()) GTEST_SKIP() << "this system has an AAC encoder";
  EXPECT_EQ(made, Status(StatusCode::BackendUnavailable, "no AAC encoder MFT available"));
  EXPECT_EQ(encoder, nullptr);
}

}  // namespace
}  // namespace orventa
