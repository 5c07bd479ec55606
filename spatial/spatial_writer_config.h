// What a spatial movie is made with.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>

#include "media/video_types.h"

extern "C" {
#include <libavcodec/codec_par.h>
}

namespace veyrin {

struct SpatialWriterConfig {
  std::filesystem::path companion_path;  ///< the recording; carried along, not read by the writer
  std::filesystem::path output_path;
  std::uint32_t width = 0;  ///< of one eye, in pixels
  std::uint32_t height = 0;
  AVRational frame_rate{30, 1};
  std::int64_t bit_rate = 0;        ///< of both views together, bits per second
  double camera_distance_mm = 0.0;  ///< between the two lenses
  double horizontal_field_of_view_degrees = 0.0;
  double start_seconds = 0.0;              ///< carried along: what the writer is given is trimmed already
  std::optional<double> duration_seconds;  ///< likewise
  ColorTags colors;                        ///< defaults filled in
  const AVCodecParameters* audio_parameters = nullptr;  ///< borrowed until the writer is open; null: no sound
  AVRational audio_time_base{0, 1};
  bool ten_bit = false;
};

}  // namespace veyrin
