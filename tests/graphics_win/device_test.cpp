#include "media/media_win/d3d11_device.h"

#include <gtest/gtest.h>

namespace orventa {
namespace {

TEST(D3d11Device, IsMadeOnTheNamedAdapterOrTheBest) {
  const auto adapters = ReportD3d11Adapters();
  ASSERT_FALSE(adapters.empty());
  for (const std::string& wanted : {adapters.back().name, std::string(), std::string("gone")}) {
    std::shared_ptr<D3d11Device> device;
    std::string used;
    const Status status = MakeD3d11Device(wanted, device, used);
    ASSERT_TRUE(status.ok()) << status.ToString();
    EXPECT_EQ(used, device->AdapterName());
    EXPECT_EQ(used, wanted == adapters.back().name ? wanted : adapters.front().name);
    EXPECT_GE(device->device()->GetFeatureLevel(), D3D_FEATURE_LEVEL_11_0);
    EXPECT_EQ(device->RemovedReason(), 0U);
    device->Flush();

    std::shared_ptr<D3d11Device> again;
    ASSERT_TRUE(MakeD3d11Device(used, again, used).ok());
    EXPECT_EQ(again->AdapterKey(), device->AdapterKey());
    const AdapterFacts facts = FindAdapterFacts(*device);
    EXPECT_EQ(facts.device.Get(), device->device());
    EXPECT_NE(facts.vendor_id, 0U);
  }
}

}  // namespace
}  // namespace orventa
