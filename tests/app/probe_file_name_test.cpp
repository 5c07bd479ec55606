#include <gtest/gtest.h>

#include <limits>

#include "app/check_support_mode.h"

namespace veyrin::test {
namespace {

using std::chrono::nanoseconds;

TEST(ProbeFileName, CarriesTheClockInDecimal) {
  EXPECT_EQ(probe_file_name({}, nanoseconds(0)), "veyrin-support-probe-0.mp4");
  EXPECT_EQ(probe_file_name({}, nanoseconds(1234567890123456789)),
            "veyrin-support-probe-1234567890123456789.mp4");
  EXPECT_EQ(probe_file_name({}, nanoseconds(-42)), "veyrin-support-probe--42.mp4");
  EXPECT_EQ(probe_file_name({}, nanoseconds(std::numeric_limits<std::int64_t>::min())),
            "veyrin-support-probe--9223372036854775808.mp4");
}

struct ExtensionCase {
  OutputFormat format;
  SbsCodec codec;
  const char* extension;
};

TEST(ProbeFileName, IsAQuickTimeNameForSpatialAndProRes) {
  for (const ExtensionCase& c : {
           ExtensionCase{OutputFormat::sbs, SbsCodec::h264, ".mp4"},
           ExtensionCase{OutputFormat::sbs, SbsCodec::hevc, ".mp4"},
           ExtensionCase{OutputFormat::sbs, SbsCodec::prores, ".mov"},
           ExtensionCase{OutputFormat::mono, SbsCodec::hevc, ".mp4"},
           ExtensionCase{OutputFormat::mono, SbsCodec::prores, ".mov"},
           ExtensionCase{OutputFormat::spatial, SbsCodec::h264, ".mov"},
           ExtensionCase{OutputFormat::spatial, SbsCodec::hevc, ".mov"},
           ExtensionCase{OutputFormat::spatial, SbsCodec::prores, ".mov"},
       }) {
    ConversionOptions options;
    options.output_format = c.format;
    options.sbs_codec = c.codec;
    EXPECT_EQ(probe_file_name(options, nanoseconds(7)), std::string("veyrin-support-probe-7") + c.extension);
  }
}

}  // namespace
}  // namespace veyrin::test
