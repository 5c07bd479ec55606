#include "common/conversion_options.h"

#include <gtest/gtest.h>

namespace veyrin::test {
namespace {

TEST(ConversionKindOfOptions, FollowsTheFormatAndTheEye) {
  ConversionOptions options;
  EXPECT_EQ(conversion_kind(options), ConversionKind::sbs);
  options.output_format = OutputFormat::spatial;
  EXPECT_EQ(conversion_kind(options), ConversionKind::spatial);
  options.output_format = OutputFormat::mono;
  EXPECT_EQ(conversion_kind(options), ConversionKind::mono_right);
  options.mono_eye = MonoEye::right;
  EXPECT_EQ(conversion_kind(options), ConversionKind::mono_right);
  options.mono_eye = MonoEye::left;
  EXPECT_EQ(conversion_kind(options), ConversionKind::mono_left);
}

}  // namespace
}  // namespace veyrin::test
