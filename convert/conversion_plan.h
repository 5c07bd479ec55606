// What a conversion settles before its encoder is chosen: files, pictures, times, and what kind of movie.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <variant>

#include "common/conversion_options.h"
#include "common/output_guard.h"
#include "media/video_types.h"
#include "metadata/recording_metadata.h"
#include "processing/yuv_processor.h"
#include "spatial/two_view_encoder.h"

struct AVOutputFormat;

namespace veyrin {

/// Stands in for a recording when support is asked for a kind of input instead of a file.
struct SyntheticInput {
  Size eye;
  BitDepth depth = BitDepth::eight;
};

struct ConversionJob {
  std::filesystem::path input;  ///< empty with a synthetic input
  std::optional<SyntheticInput> synthetic_input;
  std::filesystem::path output;
  const BatchFiles* batch = nullptr;  ///< borrowed; null: the job is a run of its own
};

/// The eye size that the options ask for; what they leave open is the native size.
Size requested_eye_size(const ConversionOptions& options, Size native);

/// The smallest canvas of the asked aspect ratio that holds the eye and whose unit is even, so that both its
/// sides are; without padding the eye itself.
Size padded_eye_size(Size requested, AspectPadding padding);

/// The size of the movie that the options make of an eye of the requested size.
Size planned_movie_size(const ConversionOptions& options, Size requested);

/// What opening a recording tells.
struct InputFacts {
  BitDepth depth = BitDepth::eight;  ///< of the left eye's stream, as all facts are
  FrameRate rate{};                  ///< as FFmpeg guesses it; not always valid
  ColorTags colors;
  bool has_audio = false;
  double container_start_seconds = 0.0;  ///< of the stream that starts first
};

struct FilePlan {
  std::filesystem::path input;  ///< empty with a synthetic input
  std::filesystem::path output;
  bool overwrite = false;
  bool has_audio = false;  ///< the recording has sound to copy
};

struct PicturePlan {
  Size eye;      ///< rectified
  Size eye_box;  ///< padded
  BitDepth depth = BitDepth::eight;
  FrameRate rate{30, 1};  ///< of the movie
  ColorTags input_colors;
};

struct TimingPlan {
  TimeRange range;
  FrameRate input_rate{};  ///< not always valid
  FrameRate output_rate{30, 1};
  /// When the recording starts. Other programs than this one count from there when they seek in it.
  double container_start_seconds = 0.0;
  double span_seconds = 0.0;  ///< what can be converted of the recording, at least 0.001
};

/// A movie of one picture per frame: both eyes side by side, or one of them.
struct CanvasMoviePlan {
  OutputLayout layout = OutputLayout::full_sbs;
  SbsCodec codec = SbsCodec::hevc;
  std::string bitrate;                        ///< as given by the user
  const AVOutputFormat* container = nullptr;  ///< FFmpeg's own description; null when it lacks the muxer
  bool st3d = false;                          ///< describe the picture in the container as side by side
  bool frame_packing_sei = false;             ///< and in the bitstream, where the codec is H.264
};

/// A movie of one picture per eye.
struct SpatialMoviePlan {
  RectifiedStereoGeometry geometry;
  std::string bitrate;  ///< as given by the user
};

/// Never changed once it is made.
struct ConversionPlan {
  FilePlan files;
  PicturePlan picture;
  TimingPlan timing;
  bool software = false;  ///< the user wants no hardware
  std::variant<CanvasMoviePlan, SpatialMoviePlan> movie;
};

ConversionPlan make_conversion_plan(const ConversionJob& job, const RecordingMetadata& metadata,
                                    const ConversionOptions& options, const InputFacts& facts);

}  // namespace veyrin
