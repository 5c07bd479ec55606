#include "metadata/recording_metadata.h"

#include <exception>

#include "common/error_text.h"
#include "common/platform/files.h"
#include "media/ffmpeg.h"
#include "metadata/calibration_document.h"
#include "metadata/first_document.h"
#include "metadata/raw_calibration.h"

namespace veyrin {
namespace {

bool open_recording(const std::filesystem::path& input, const std::string& path, InputContextPtr& context,
                    std::string& error) {
  AVFormatContext* opened = nullptr;
  if (avformat_open_input(&opened, media_url(input).c_str(), nullptr, nullptr) < 0) {
    return fail(error, "could not open input: " + path);
  }
  context.reset(opened);
  if (avformat_find_stream_info(opened, nullptr) < 0) {
    return fail(error, "could not read stream information: " + path);
  }
  return true;
}

/// Takes over what the document says of the eyes; one that lacks something leaves the calibration invalid.
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

}  // namespace

bool read_recording_metadata(const std::filesystem::path& input, RecordingMetadata& metadata,
                             std::string& error) {
  metadata = {};
  const std::string path = platform::path_to_utf8(input);
  InputContextPtr context;
  if (!open_recording(input, path, context, error)) return false;
  if (context->duration > 0) metadata.duration_seconds = static_cast<double>(context->duration) / 1e6;
  metadata.metadata_stream = find_metadata_stream(*context);
  if (metadata.metadata_stream < 0) return fail(error, "no Kaleth gpmd stream found");
  const PacketPtr packet(av_packet_alloc());
  if (!packet) return fail(error, "could not allocate an FFmpeg packet");

  try {
    // Later documents never count, even when the first lacks something.
    const auto sample = read_first_document(*context, metadata.metadata_stream, *packet);
    if (sample) adopt_document(*sample, path, metadata);
  } catch (const std::exception& exception) {
    return fail(error, std::string("invalid recording metadata: ") + exception.what());
  }
  if (!metadata.raw_calibration.valid) {
    return fail(error, "no valid raw dual-track calibration sample found");
  }
  metadata.is_hdr =
      is_hdr_track(*context, metadata.left_track) || is_hdr_track(*context, metadata.right_track);
  return true;
}

}  // namespace veyrin
