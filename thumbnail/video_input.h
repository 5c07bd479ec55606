// Opening a video: what it says of its eyes, the streams that its preview shows, and their first frames.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "media/ffmpeg.h"
#include "metadata/calibration.h"

namespace veyrin {

/// Opens the file and finds out what its streams hold; null with one message in `error`.
[[nodiscard]] InputContextPtr open_video(const std::filesystem::path& input, std::string& error);

/// What a recording says of its eyes, as far as a preview needs it.
struct RecordingLayout {
  bool has_document = false;             ///< a well-formed one in its timed metadata
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

/// The streams of one preview, by stream index.
struct StreamChoice {
  std::vector<int> streams;   ///< to be decoded, in the order of the file
  int left = -1, right = -1;  ///< the eyes' streams; -1 for the preview of a single stream

  [[nodiscard]] bool is_dual() const { return left >= 0 && right >= 0; }
};

/// Prints the line that says why a single picture is shown and not both eyes; `reason` is a clause.
void report_fallback(const std::string& reason);

/// The eyes' streams when the layout has a valid calibration for two playable ones, else the best video
/// stream, with a notice of the reason. Playable means that a decoder exists that works without graphics
/// hardware, which a notice says of every stream that lacks one, and that the stream is not a cover picture.
/// False with one message in `error`; `path` is for the messages.
[[nodiscard]] bool choose_streams(AVFormatContext& input, const RecordingLayout& layout,
                                  const std::string& path, StreamChoice& choice, std::string& error);

struct FirstFrame {
  int stream = -1;    ///< stream index
  std::string label;  ///< for messages: "thumbnail track" and the position among the chosen streams
  FramePtr frame;     ///< null when nothing of the stream could be decoded
};

/// Decodes until every stream has its frame, reading no packets of other streams and none behind a stream's
/// frame. Damaged packets are passed over. False with one message in `error` when a decoder cannot be
/// opened.
[[nodiscard]] bool decode_first_frames(AVFormatContext& input, const std::vector<int>& streams,
                                       std::vector<FirstFrame>& frames, std::string& error);

}  // namespace veyrin
