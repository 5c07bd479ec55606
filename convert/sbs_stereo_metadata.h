// The description of side-by-side pictures that goes along with a video track.
#pragma once

#include <string>
#include <string_view>

#include "common/conversion_options.h"

struct AVCodecParameters;

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

}  // namespace veyrin
