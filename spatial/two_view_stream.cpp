#include "spatial/two_view_stream.h"

#include "media/raw_picture.h"
#include "spatial/spatial_metadata.h"

extern "C" {
#include <libavcodec/defs.h>
}

namespace veyrin {

CodecParametersPtr describe_two_view_stream(const SpatialWriterConfig& config,
                                            std::span<const std::uint8_t> parameter_sets,
                                            std::string& error) {
  CodecParametersPtr stream(avcodec_parameters_alloc());
  if (!stream) {
    error = "could not configure MV-HEVC output track";
    return nullptr;
  }
  stream->codec_type = AVMEDIA_TYPE_VIDEO;
  stream->codec_id = AV_CODEC_ID_HEVC;
  // Of 8 bits; none is registered for 10, for which x265 names it, too.
  stream->profile = AV_PROFILE_HEVC_MULTIVIEW_MAIN;
  stream->format = raw_picture_format(config.depth);
  stream->width = config.eye.width;
  stream->height = config.eye.height;
  stream->framerate = config.frame_rate;
  stream->bit_rate = config.bit_rate;
  stream->field_order = AV_FIELD_PROGRESSIVE;
  stream->color_primaries = config.colors.primaries;
  stream->color_trc = config.colors.transfer;
  stream->color_space = config.colors.matrix;
  stream->color_range = config.colors.range;
  stream->chroma_location = AVCHROMA_LOC_LEFT;
  if (!attach_stream_metadata(config, *stream, error) || !set_sequence_header(parameter_sets, *stream, error))
    return nullptr;
  return stream;
}

}  // namespace veyrin
