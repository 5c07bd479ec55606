#include "spatial/two_view_stream.h"

#include <cstring>

#include "media/raw_picture.h"
#include "spatial/spatial_metadata.h"

extern "C" {
#include <libavcodec/defs.h>
}

namespace veyrin {
namespace {

constexpr const char* no_memory_for_stream = "could not configure MV-HEVC output track";

}  // namespace

CodecParametersPtr describe_two_view_stream(const SpatialWriterConfig& config,
                                            std::span<const std::uint8_t> parameter_sets,
                                            std::string& error) {
  CodecParametersPtr stream(avcodec_parameters_alloc());
  if (!stream) {
    error = no_memory_for_stream;
    return nullptr;
  }
  stream->codec_type = AVMEDIA_TYPE_VIDEO;
  stream->codec_id = AV_CODEC_ID_HEVC;
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
  stream->extradata =
      static_cast<std::uint8_t*>(av_mallocz(parameter_sets.size() + AV_INPUT_BUFFER_PADDING_SIZE));
  if (stream->extradata == nullptr) {
    error = no_memory_for_stream;
    return nullptr;
  }
  std::memcpy(stream->extradata, parameter_sets.data(), parameter_sets.size());
  stream->extradata_size = static_cast<int>(parameter_sets.size());
  if (!attach_stream_metadata(config, *stream, error) || !append_reference_displays_sei(*stream, error))
    return nullptr;
  return stream;
}

}  // namespace veyrin
