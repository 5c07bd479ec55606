// What tells a player that two views are one stereo picture: stereo, projection and reference-display
// records.
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "media/ffmpeg.h"
#include "spatial/two_view_encoder.h"

namespace veyrin {

/// The distance of the lenses as the stereo record holds it: whole micrometres, clamped to 32 bits.
std::uint32_t baseline_micrometres(double camera_distance_mm);

/// Puts the records into the stream-wide side data of an encoder that is not open yet, replacing records of
/// the same kind.
[[nodiscard]] bool attach_encoder_metadata(const SpatialWriterConfig& config, AVCodecContext& encoder,
                                           std::string& error);

/// Puts them into the side data of a stream whose encoder runs elsewhere.
[[nodiscard]] bool attach_stream_metadata(const SpatialWriterConfig& config, AVCodecParameters& stream,
                                          std::string& error);

/// Attaches the record that names the views of the left and the right eye.
[[nodiscard]] bool attach_reference_displays(AVFrame& frame, std::string& error);

/// Appends the same record, as an SEI message, to the sequence header of an open encoder.
[[nodiscard]] bool append_reference_displays_sei(AVCodecContext& encoder, std::string& error);
/// Gives a stream whose encoder runs elsewhere its sequence header: the parameter sets, with start codes, and
/// that message.
[[nodiscard]] bool set_sequence_header(std::span<const std::uint8_t> parameter_sets,
                                       AVCodecParameters& stream, std::string& error);

}  // namespace veyrin
