#include "video/pace_log.h"

#include <gtest/gtest.h>

namespace orventa {
namespace {

TEST(PaceLog, WritesEveryPipelineBehindTheOneBefore) {
  const std::string path = JoinPath(::testing::TempDir(), "orventa-pace.tsv");
  {
    PaceLog log(path);
    ASSERT_TRUE(log.on());
    log.Add({.slot = 1,
             .reached = 2,
             .acquire_us = 3,
             .convert_us = 4,
             .submit_us = 5,
             .collect_us = 6,
             .rest_us = 7,
             .drain_us = 8,
             .fresh = true});
    log.Write();
    log.Write();  // nothing new: no second header
    log.Add({.slot = 9});
    log.Write();
  }
  std::string text;
  ASSERT_TRUE(ReadWholeFile(path, 1 << 20, text).ok());
  const std::string header =
      "slot\treached\tacquire_us\tconvert_us\tsubmit_us\tcollect_us\trest_us\tdrain_us\tfresh\n";
  EXPECT_EQ(text, header + "1\t2\t3\t4\t5\t6\t7\t8\t1\n" + header + "9\t0\t0\t0\t0\t0\t0\t0\t0\n");
  EXPECT_TRUE(RemoveFile(path).ok());
}

TEST(PaceLog, OffWithoutAPathAndWithoutAFile) {
  EXPECT_FALSE(PaceLog("").on());
  PaceLog nowhere(JoinPath(::testing::TempDir(), "no-such-folder/pace.tsv"));
  EXPECT_FALSE(nowhere.on());
  nowhere.Add({});
  nowhere.Write();
}

}  // namespace
}  // namespace orventa
