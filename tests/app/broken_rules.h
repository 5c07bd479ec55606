// Command lines that break one rule between options each, in rule order.
#pragma once

#include <string>
#include <vector>

namespace veyrin::test {

using Arguments = std::vector<std::string>;

struct RuleCase {
  Arguments arguments;
  const char* message;
};

inline const std::vector<RuleCase> broken_rules{
    {{"--eye-width", "0"}, "--eye-width must be positive"},
    {{"--eye-width", "-2147483648"}, "--eye-width must be positive"},
    {{"--eye-height", "0"}, "--eye-height must be positive"},
    {{"--eye-height", "-3"}, "--eye-height must be positive"},
    {{"--thumbnail-width", "0"}, "--thumbnail-width must be positive"},
    {{"--thumbnail-width", "-1"}, "--thumbnail-width must be positive"},
    {{"--start", "-1"}, "--start must be non-negative"},
    {{"--start", "-1e-9"}, "--start must be non-negative"},
    {{"--duration", "0"}, "--duration must be positive"},
    {{"--duration", "-0.5"}, "--duration must be positive"},
    {{"--output-fps", "0"}, "--output-fps must be positive"},
    {{"--output-fps", "-24"}, "--output-fps must be positive"},
    {{"--output-format", "mono", "--sbs-spatial-metadata", "sei", "--sbs-codec", "h264"},
     "--sbs-spatial-metadata does not apply to mono output"},
    {{"--output-format", "mono", "--sbs-spatial-metadata", "both"},
     "--sbs-spatial-metadata does not apply to mono output"},
    {{"--sbs-spatial-metadata", "sei"}, "SEI spatial metadata requires --sbs-codec h264"},
    {{"--sbs-spatial-metadata", "both"}, "SEI spatial metadata requires --sbs-codec h264"},
    {{"--sbs-spatial-metadata", "sei", "--sbs-codec", "prores"},
     "SEI spatial metadata requires --sbs-codec h264"},
    {{"--sbs-spatial-metadata", "sei", "--output-format", "spatial"},
     "SEI spatial metadata requires --sbs-codec h264"},
    {{"--mono-eye", "left"}, "--mono-eye requires --output-format mono"},
    {{"--mono-eye", "right", "--output-format", "spatial"}, "--mono-eye requires --output-format mono"},
    {{"--thumbnail"}, "--thumbnail requires exactly one input"},
    {{"--thumbnail", "a", "b"}, "--thumbnail requires exactly one input"},
    {{"--thumbnail", "a"}, "--thumbnail requires --output"},
    {{"--thumbnail", "a", "--output", "b", "--inspect"},
     "--thumbnail cannot be combined with --inspect or --dry-run"},
    {{"--thumbnail", "a", "--output", "b", "--dry-run"},
     "--thumbnail cannot be combined with --inspect or --dry-run"},
    {{"a", "--input-width", "8"},
     "--input-width, --input-height, and --input-bit-depth are valid only with check-support"},
    {{"a", "--input-height", "8"},
     "--input-width, --input-height, and --input-bit-depth are valid only with check-support"},
    {{"--input-bit-depth", "8", "check-support"},
     "--input-width, --input-height, and --input-bit-depth are valid only with check-support"},
    {{"check-support", "--input-width", "8"},
     "synthetic check-support requires --input-width, --input-height, and --input-bit-depth"},
    {{"check-support", "--input-width", "8", "--input-height", "8"},
     "synthetic check-support requires --input-width, --input-height, and --input-bit-depth"},
    {{"check-support", "--input-bit-depth", "12", "a"},
     "synthetic check-support requires --input-width, --input-height, and --input-bit-depth"},
    {{"check-support", "--input-width", "8", "--input-height", "8", "--input-bit-depth", "12"},
     "--input-bit-depth must be 8 or 10"},
    {{"check-support", "--input-width", "0", "--input-height", "8", "--input-bit-depth", "9", "a"},
     "--input-bit-depth must be 8 or 10"},
    {{"check-support", "--input-width", "0", "--input-height", "8", "--input-bit-depth", "8"},
     "synthetic input dimensions must be positive"},
    {{"check-support", "--input-width", "8", "--input-height", "-8", "--input-bit-depth", "10", "a"},
     "synthetic input dimensions must be positive"},
    {{"check-support", "--input-width", "8", "--input-height", "8", "--input-bit-depth", "8", "a"},
     "synthetic check-support does not accept an input file"},
    {{"check-support"}, "check-support requires one input file or synthetic input properties"},
    {{"check-support", "a", "b"}, "check-support requires one input file or synthetic input properties"},
    {{"check-support", "a", "--inspect"},
     "check-support cannot be combined with --thumbnail, --inspect, or --dry-run"},
    {{"check-support", "a", "--dry-run"},
     "check-support cannot be combined with --thumbnail, --inspect, or --dry-run"},
    {{"check-support", "a", "--thumbnail", "--output", "p.png"},
     "check-support cannot be combined with --thumbnail, --inspect, or --dry-run"},
    {{"--output", "x"}, "--output requires exactly one input"},
    {{"--output", "x", "a", "b"}, "--output requires exactly one input"},
    {{"check-support", "--input-width", "8", "--input-height", "8", "--input-bit-depth", "8", "--output",
      "x"},
     "--output requires exactly one input"},
};

}  // namespace veyrin::test
