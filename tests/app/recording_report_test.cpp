#include <gtest/gtest.h>

#include <string>

#include "app/run_modes.h"
#include "convert/conversion_plan.h"
#include "tests/support/captured_output.h"

namespace veyrin::test {
namespace {

RecordingMetadata sample_metadata() {
  RecordingMetadata metadata;
  metadata.duration_seconds = 12.3456789;
  metadata.metadata_stream = 3;
  metadata.left_track = 1;
  metadata.right_track = 0;
  metadata.calibration.has_head_chain = true;
  metadata.raw_calibration.left_intrinsics.width = 1920;
  metadata.raw_calibration.left_intrinsics.height = 1080;
  metadata.raw_calibration.stereo_extrinsic.position = {0.06F, -0.02F, 0.03F};
  return metadata;
}

std::string printed_report(const RecordingMetadata& metadata) {
  capture_output();
  print_recording_report("rec/clip 1.mov", metadata);
  return captured_output();
}

TEST(RecordingReport, PrintsItsLinesInOrder) {
  EXPECT_EQ(printed_report(sample_metadata()),
            "Input: rec/clip 1.mov\n"
            "  duration_seconds: 12.345679\n"
            "  metadata_stream: 3\n"
            "  left_video_stream: 1\n"
            "  right_video_stream: 0\n"
            "  native_size: 1920x1080\n"
            "  baseline_m: 0.070000\n"
            "  pose_available: true\n");
}

TEST(RecordingReport, SaysSoWhenThereIsNoPose) {
  RecordingMetadata metadata = sample_metadata();
  metadata.calibration.has_head_chain = false;
  EXPECT_NE(printed_report(metadata).find("\n  pose_available: false\n"), std::string::npos);
}

TEST(RecordingReport, TakesTheInputsNameLiterally) {
  capture_output();
  print_recording_report("100%s %n.mov", sample_metadata());
  EXPECT_TRUE(captured_output().starts_with("Input: 100%s %n.mov\n"));
}

TEST(BaselineMetres, IsTheLengthOfTheTranslation) {
  RecordingMetadata metadata;
  EXPECT_EQ(baseline_metres(metadata), 0.0F);
  metadata.raw_calibration.stereo_extrinsic.position = {-3.0F, 4.0F, 0.0F};
  EXPECT_EQ(baseline_metres(metadata), 5.0F);
}

TEST(PlannedWork, PrintsSizeAndFormat) {
  ConversionOptions options;
  options.output_format = OutputFormat::mono;
  options.sbs_aspect_ratio_padding = AspectPadding::ratio_4x3;
  capture_output();
  print_planned_work(options, {1920, 1080});
  EXPECT_EQ(captured_output(),
            "  rectification_maps: valid\n"
            "  output_video_size: 1920x1440\n"
            "  output_format: mono\n");
}

TEST(OutputFormatName, IsTheOptionsWord) {
  EXPECT_STREQ(output_format_name(OutputFormat::sbs), "sbs");
  EXPECT_STREQ(output_format_name(OutputFormat::spatial), "spatial");
  EXPECT_STREQ(output_format_name(OutputFormat::mono), "mono");
}

}  // namespace
}  // namespace veyrin::test
