// The encoded samples of a track, to be written into a movie file.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace veyrin::recordings {

/// One coded sample; times in the track's time scale.
struct MediaSample {
  std::vector<std::uint8_t> data;
  std::int64_t dts = 0, pts = 0, duration = 0;
  bool key = true;
};

/// Colour tags as ISO/IEC 23091-2 numbers.
struct ColourTags {
  int primaries = 2, transfer = 2, matrix = 2;
  bool full_range = false;
};

enum class TrackKind { video, audio, data };

struct MediaTrack {
  TrackKind kind = TrackKind::data;
  std::string codec_tag;  ///< four characters of the sample entry
  std::string handler_name;
  std::vector<std::uint8_t> decoder_config;  ///< avcC, hvcC or av1C content, or the AudioSpecificConfig
  std::uint32_t time_scale = 1000;
  int width = 0, height = 0;          ///< video
  int quarter_turns = 0;              ///< video: clockwise turns for display
  std::optional<ColourTags> colour;   ///< video: content of the colr box
  int channels = 0, sample_rate = 0;  ///< audio
  double delay_seconds = 0.0;         ///< empty time before the first sample is presented
  std::vector<MediaSample> samples;   ///< in decoding order; presentation starts at pts 0
};

}  // namespace veyrin::recordings
