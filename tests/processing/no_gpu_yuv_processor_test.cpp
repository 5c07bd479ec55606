#include <gtest/gtest.h>

#include "processing/gpu_yuv_processor.h"
#include "tests/processing/random_maps.h"

namespace veyrin::test {
namespace {

TEST(GpuYuvProcessor, IsRefusedWithAReasonWhereTheSystemHasNone) {
  std::string error;
  EXPECT_EQ(create_gpu_yuv_processor(nullptr, identity_maps(8, 8), {8, 8, 8, 8}, /*ten_bit=*/false, error),
            nullptr);
  EXPECT_EQ(error, "Direct3D 11 is not part of this system");
}

}  // namespace
}  // namespace veyrin::test
