// What tells players that a picture holds both eyes side by side: the record of the video track, the message
// in H.264 streams, and the pass that adds the record to a finished movie of the packaged encoder.
#pragma once

#include <array>
#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>

#include "common/conversion_options.h"

extern "C" {
#include <libavcodec/codec_id.h>
}

struct AVCodecParameters;
struct AVPacket;

namespace veyrin {

/// Whether the choice asks for the description in the container.
bool wants_st3d(SpatialMetadataKind kind);

/// Whether the choice asks for the message in the bitstream.
bool wants_frame_packing_sei(SpatialMetadataKind kind);

/// Sets the track's stereo 3D side data to: left and right eye side by side in one picture, the left one
/// primary. Other stereo 3D side data of the track is replaced. Fails with "could not allocate SBS metadata"
/// or `attach_failure`.
[[nodiscard]] bool attach_sbs_stereo_metadata(AVCodecParameters& video, std::string_view attach_failure,
                                              std::string& error);

/// One SEI NAL unit in Annex B form, payload type 45 (ITU-T H.264, D.1.26 and D.2.26): both views side by
/// side in one picture, view 0 is the left one, valid until the next message. The 03 behind two zeros is the
/// emulation-prevention byte, which the payload size of 7 does not count.
inline constexpr std::array<std::uint8_t, 16> frame_packing_sei{
    0x00, 0x00, 0x00, 0x01, 0x06, 0x2D, 0x07, 0x81, 0x81, 0x00, 0x00, 0x03, 0x00, 0x01, 0x20, 0x80};

/// Puts the message in front of a key-frame packet of an H.264 encoder (Annex B); any other packet stays as
/// it is. On failure the packet is unchanged.
[[nodiscard]] bool add_frame_packing_sei(AVCodecID codec, AVPacket& packet, std::string& error);

/// The file that the pass writes before it takes the movie's place: the movie's name with its extension
/// replaced by ".st3d.tmp.mp4", in the same folder.
std::filesystem::path st3d_temporary_path(const std::filesystem::path& movie);

/// Copies the movie's streams packet by packet into a new file whose video tracks carry the stereo
/// description and an st3d box, and puts that file in the movie's place. On failure, one message in `error`,
/// the movie is as it was and the temporary file is gone, unless something else had its name before; killed
/// halfway, the pass leaves either the old or the complete new movie, and perhaps the temporary file.
[[nodiscard]] bool add_st3d_to_movie(const std::filesystem::path& movie, std::string& error);

}  // namespace veyrin
