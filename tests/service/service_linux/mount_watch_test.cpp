#include "service/service_linux/mount_watch.h"

#include <gtest/gtest.h>

namespace orventa {
namespace {

TEST(MountWatch, TellsDrivesFromWhatProgramsMount) {
  EXPECT_EQ(MountedDrives("22 27 0:21 / /proc rw,relatime - proc proc rw\n"
                          "27 1 254:0 / / rw,relatime - ext4 /dev/vda rw,discard\n"
                          "90 27 8:17 / /media/u/My\\040Drive rw shared:5 - exfat /dev/sdb1 rw\n"
                          "91 27 0:50 / /mnt/nas rw - nfs4 nas:/videos rw\n"
                          "92 27 0:51 / /var/lib/docker/overlay2/x/merged rw - overlay overlay rw\n"
                          "93 27 0:52 / /torn rw -\n94\n\n"),
            (std::set<std::string, std::less<>>{"27", "90", "91"}));
}

}  // namespace
}  // namespace orventa
