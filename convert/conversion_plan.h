// What a conversion settles before its first frame: sizes, times, rates, colours, the container.
#pragma once

#include <vector>

#include "common/conversion_options.h"
#include "convert/conversion.h"
#include "convert/conversion_input.h"
#include "convert/eye_canvas.h"
#include "convert/frame_timing.h"
#include "media/video_types.h"
#include "metadata/recording_metadata.h"
#include "processing/yuv_processor.h"

namespace veyrin {

/// The job and its options are borrowed, as is the audio stream, which ends with the opened input.
struct ConversionPlan {
  const ConversionJob& job;
  const RecordingMetadata& metadata;
  const ConversionOptions& options;
  bool ten_bit = false;  ///< of the left eye's stream
  Size eye{};         ///< rectified size
  Size canvas{};      ///< padded size
  TrimRange range{};
  FrameRate input_rate{};
  FrameRate output_rate{};
  ColorTags input_colors{};                   ///< of the left eye's stream
  const AVStream* source_audio = nullptr;     ///< null when there is none
  const AVOutputFormat* container = nullptr;  ///< null for a spatial movie, whose writer knows its own
};

/// Plans all but the container and the sample depth, which the decoders tell.
void plan_sizes_and_timing(const ConversionInput& input, ConversionPlan& plan);

/// What the processors make, one layout for each canvas of the movie.
std::vector<OutputLayout> output_layouts(const ConversionPlan& plan);

}  // namespace veyrin
