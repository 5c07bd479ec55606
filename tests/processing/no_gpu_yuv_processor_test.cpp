#include <gtest/gtest.h>

#include "processing/remap_tables.h"
#include "processing/yuv_processor.h"

namespace veyrin::test {
namespace {

TEST(GpuYuvProcessor, IsRefusedWithAReasonWhereTheSystemHasNone) {
  std::string error;
  EXPECT_EQ(GpuYuvProcessor::create(nullptr, RemapTables{}, {{8, 8}, {8, 8}}, BitDepth::eight, error),
            nullptr);
  EXPECT_EQ(error, "Direct3D 11 is not part of this system");
}

}  // namespace
}  // namespace veyrin::test
