#include "metadata/recording_metadata.h"

#include <exception>
#include <span>
#include <string_view>

#include "common/console.h"
#include "common/error_text.h"
#include "common/platform/files.h"
#include "media/ffmpeg.h"
#include "media/recording_input.h"
#include "metadata/calibration_document.h"
#include "metadata/timed_metadata.h"

namespace veyrin {
namespace {

bool is_named_as_timed_metadata(const AVStream& stream) {
  const AVDictionaryEntry* handler = av_dict_get(stream.metadata, "handler_name", nullptr, 0);
  return handler != nullptr &&
         std::string_view(handler->value).find("Kaleth Timed Metadata") != std::string_view::npos;
}

/// Reads the document into the metadata. A document that lacks something leaves the raw calibration invalid.
void adopt_document(const TimedDocument& sample, const std::string& path, RecordingMetadata& metadata) {
  metadata.calibration = read_stereo_calibration(sample.document, sample.time_seconds);
  metadata.raw_calibration = condense_calibration(metadata.calibration, path);
  metadata.left_track = metadata.calibration.left_track;
  metadata.right_track = metadata.calibration.right_track;
}

bool is_hdr_track(const AVFormatContext& input, int track) {
  const int index = stream_index_of_video_track(input, track);
  if (index < 0) return false;
  const AVCodecParameters& parameters = *input.streams[index]->codecpar;
  return parameters.color_trc == AVCOL_TRC_ARIB_STD_B67 || parameters.color_trc == AVCOL_TRC_SMPTE2084 ||
         parameters.color_primaries == AVCOL_PRI_BT2020;
}

// A video of another size than its calibration is for is sampled at the wrong places.
void notice_other_size(const AVFormatContext& input, const char* eye, int track,
                       const CameraIntrinsics& intrinsics) {
  const int index = stream_index_of_video_track(input, track);
  if (index < 0) return;
  const AVCodecParameters& video = *input.streams[index]->codecpar;
  if (video.width < 1 || video.height < 1) return;
  if (video.width == intrinsics.width && video.height == intrinsics.height) return;
  console_line(
      "[RecordingMetadata] The calibration of the %s eye is for %dx%d pixels, but its video has %dx%d", eye,
      intrinsics.width, intrinsics.height, video.width, video.height);
}

}  // namespace

int find_metadata_stream(const AVFormatContext& input) {
  int first_tagged = -1;
  for (const AVStream* stream : std::span(input.streams, input.nb_streams)) {
    if (stream->codecpar->codec_type != AVMEDIA_TYPE_DATA) continue;
    if (is_named_as_timed_metadata(*stream)) return stream->index;
    if (first_tagged < 0 && stream->codecpar->codec_tag == MKTAG('g', 'p', 'm', 'd')) {
      first_tagged = stream->index;
    }
  }
  return first_tagged;
}

bool read_recording_metadata(const std::filesystem::path& input, RecordingMetadata& metadata,
                             std::string& error) {
  metadata = {};
  const std::string path = platform::path_to_utf8(input);
  const std::string open_message = "could not open input: " + path;
  const std::string streams_message = "could not read stream information: " + path;
  const InputContextPtr context =
      open_recording(input, {}, {open_message, streams_message, /*with_reason=*/false}, error);
  if (!context) return false;
  if (context->duration > 0) metadata.duration_seconds = static_cast<double>(context->duration) / 1e6;
  metadata.metadata_stream = find_metadata_stream(*context);
  if (metadata.metadata_stream < 0) return fail(error, "no Kaleth gpmd stream found");
  const PacketPtr packet(av_packet_alloc());
  if (!packet) return fail(error, "could not allocate an FFmpeg packet");

  try {
    // Only the first document counts, even when it is incomplete.
    const auto sample = read_first_document(*context, metadata.metadata_stream, *packet);
    if (sample) adopt_document(*sample, path, metadata);
  } catch (const std::exception& exception) {
    return fail(error, "invalid recording metadata: " + with_short_quotation(exception.what()));
  }
  if (!metadata.raw_calibration.valid) {
    return fail(error, "no valid raw dual-track calibration sample found");
  }
  const RawDualTrackCalibration& calibration = metadata.raw_calibration;
  notice_other_size(*context, "left", calibration.left_track, calibration.left_intrinsics);
  notice_other_size(*context, "right", calibration.right_track, calibration.right_intrinsics);
  metadata.is_hdr =
      is_hdr_track(*context, metadata.left_track) || is_hdr_track(*context, metadata.right_track);
  return true;
}

}  // namespace veyrin
