#include <gtest/gtest.h>

#include "app/option_table.h"

namespace veyrin::test {
namespace {

TEST(UsageText, IsPrintedToTheLetter) {
  EXPECT_EQ(usage_text(), R"(Usage: veyrin-video-converter [options] INPUT...
       veyrin-video-converter check-support [options] INPUT

Native raw dual-track spatial video converter.

  check-support             report whether the requested conversion is supported as JSON
  --input-width N           synthetic per-eye input width (check-support only)
  --input-height N          synthetic per-eye input height (check-support only)
  --input-bit-depth 8|10    synthetic input bit depth (check-support only)

  --thumbnail               write a representative PNG preview
  --thumbnail-width N       maximum preview width (default: 960)
  --inspect                 inspect embedded metadata and calibration
  --output-root PATH        output root (default: converted/spatial_video)
  --output PATH             exact output path (requires exactly one input)
  --output-format sbs|spatial|mono
                            output type (default: sbs)
  --mono-eye left|right     eye used for mono output (default: right)
  --eye-width N             per-eye output width
  --eye-height N            per-eye output height
  --sbs-mode full|half      SBS packing mode (default: full)
  --sbs-aspect-ratio-padding none|4x3|16x9
                            pad each eye to the selected aspect ratio (default: none)
  --sbs-codec h264|hevc|prores
                            output codec; H.264 output is limited to 8-bit
  --sdr-bitrate RATE        target bitrate for SDR output (default: 55M)
  --hdr-bitrate RATE        target bitrate for HDR output (default: 90M)
  --output-fps FPS          normalized output frame rate
  --start SECONDS           trim start
  --duration SECONDS        trim duration
  --sbs-spatial-metadata st3d|sei|both
                            stereo metadata (default: st3d; sei/both require H.264)
  --software                use software decoding and encoding
  --overwrite               replace outputs
  --dry-run                 validate and print planned work
  -h, --help                show this help
)");
}

}  // namespace
}  // namespace veyrin::test
