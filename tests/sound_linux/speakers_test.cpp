// How the places of a device's speakers become a mask and an order.
#include <gtest/gtest.h>

#include <vector>

#include "sound/sound_linux/pulse_stream.h"

namespace orventa {
namespace {

TEST(PulseSpeakersTest, AreOrderedByTheirBitsOrMixedByTheServer) {
  struct Case {
    const char* map;
    uint32_t mask;
    const char* ordered;
  };
  const std::vector<Case> cases = {
      {"mono", 0, "mono"},
      {"front-left,front-right", 0, "front-left,front-right"},
      // PulseAudio puts the rear before the centre.
      {"front-left,front-right,rear-left,rear-right,front-center,lfe", 0x3F,
       "front-left,front-right,front-center,lfe,rear-left,rear-right"},
      {"side-right,side-left,front-left", 0x601, "front-left,side-left,side-right"},
      {"front-left,front-right,aux0", 0, "front-left,front-right"},
      {"front-left,front-left,front-right", 0, "front-left,front-right"},
  };
  for (const Case& one : cases) {
    pa_channel_map map;
    ASSERT_NE(pa_channel_map_parse(&map, one.map), nullptr) << one.map;
    const PulseSpeakers speakers = OrderSpeakers(map);
    EXPECT_EQ(speakers.mask, one.mask) << one.map;
    pa_channel_map ordered;
    ASSERT_NE(pa_channel_map_parse(&ordered, one.ordered), nullptr);
    EXPECT_TRUE(pa_channel_map_equal(&speakers.map, &ordered)) << one.map;
  }
}

}  // namespace
}  // namespace orventa
