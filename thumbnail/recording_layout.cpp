#include "thumbnail/recording_layout.h"

#include <exception>
#include <optional>
#include <string>

#include "common/platform/files.h"
#include "metadata/calibration_document.h"
#include "metadata/first_document.h"
#include "metadata/raw_calibration.h"
#include "metadata/recording_mode.h"
#include "metadata/recording_streams.h"
#include "thumbnail/video_input.h"

namespace veyrin {
namespace {

/// Nothing when there is no well-formed document. The container's header names the metadata track, so the
/// streams need no probing.
std::optional<TimedDocument> find_document(const std::filesystem::path& input) {
  InputContextPtr context;
  std::string ignored;
  if (!open_demuxer(input, context, ignored)) return std::nullopt;
  const int stream = find_metadata_stream(*context);
  const PacketPtr packet(av_packet_alloc());
  if (stream < 0 || !packet) return std::nullopt;
  try {
    return read_first_document(*context, stream, *packet);
  } catch (const std::exception&) {
    return std::nullopt;
  }
}

bool declares_raw_dual_track(const nlohmann::json& document) {
  try {
    return parse_recording_mode(document) == RecordingMode::raw_dual_track;
  } catch (const std::exception&) {
    return false;
  }
}

RawDualTrackCalibration calibration_in(const TimedDocument& sample, const std::filesystem::path& input) {
  try {
    return condense_calibration(read_stereo_calibration(sample.document, sample.time_seconds),
                                platform::path_to_utf8(input));
  } catch (const std::exception&) {
    return {};
  }
}

}  // namespace

RecordingLayout read_recording_layout(const std::filesystem::path& input) {
  RecordingLayout layout;
  const std::optional<TimedDocument> sample = find_document(input);
  if (!sample) return layout;
  layout.declared_raw_dual_track = declares_raw_dual_track(sample->document);
  layout.calibration = calibration_in(*sample, input);
  return layout;
}

}  // namespace veyrin
