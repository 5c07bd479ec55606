// What a recording says of its eyes, as far as a preview needs it.
#pragma once

#include <filesystem>

#include "metadata/recording_metadata.h"

namespace veyrin {

struct RecordingLayout {
  bool declared_raw_dual_track = false;  ///< by its document's recording mode
  /// Not valid when there is no document or when it lacks something.
  RawDualTrackCalibration calibration;

  /// True when the calibration puts the eyes on two video tracks.
  [[nodiscard]] bool names_two_tracks() const {
    return calibration.left_track >= 0 && calibration.right_track >= 0 &&
           calibration.left_track != calibration.right_track;
  }
};

/// Reads the first document of the timed metadata. A file that cannot be opened, has no such track or only
/// malformed samples is one without a layout: an ordinary video.
RecordingLayout read_recording_layout(const std::filesystem::path& input);

}  // namespace veyrin
