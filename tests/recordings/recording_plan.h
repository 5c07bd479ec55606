// The properties of a recording: the options of make_recording.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "tests/recordings/picture.h"
#include "tests/recordings/rig.h"

namespace veyrin::recordings {

enum class VideoCodec { h264, hevc, hevc10 };

struct FrameRate {
  int numerator = 30, denominator = 1;
  [[nodiscard]] double per_second() const { return static_cast<double>(numerator) / denominator; }
};

/// The path of the FFmpeg program that the build puts beside all programs.
std::string packaged_encoder_beside_program();

struct RecordingPlan {
  std::filesystem::path output;
  int width = 640, height = 640;  ///< per eye, even
  FrameRate rate;
  double seconds = 2.0;
  VideoCodec codec = VideoCodec::h264;
  bool full_range = false;
  bool untagged = false;       ///< no colour description at all
  std::string pixel_format;    ///< of the coded video; empty: 4:2:0 at the codec's depth
  int group_length = 0;        ///< frames per GOP; 0: about half a second
  int right_group_length = 0;  ///< the same for the right eye; 0: as the left eye
  bool open_groups = false;    ///< pictures may refer to the group before theirs
  int b_frames = 0;
  RigShape rig;
  int document_width = 0,
      document_height = 0;  ///< eye size of the calibration document; 0: that of the video

  bool swap_cameras = false;       ///< the right camera is first in the document and on the first video track
  bool swap_tracks = false;        ///< the left camera is first but the right eye's video track comes first
  bool single_camera = false;      ///< one camera, one video track
  bool legacy_keys = false;        ///< "playbackTimestampSec" and "videoTrackIndex"
  bool pinhole_only = false;       ///< intrinsics without the fisheye model
  bool splines = false;            ///< adds spline lens models
  double metadata_interval = 0.5;  ///< seconds between timed-metadata samples
  std::string handler_name = "Kaleth Timed Metadata";
  std::string metadata_tag = "gpmd";
  bool extra_data_stream = false;  ///< an unnamed gpmd track with other samples before the metadata track

  bool audio = true;
  bool empty_right = false;    ///< the right eye's track has no samples
  double right_offset = 0.0;   ///< seconds by which the right eye starts later
  double start_offset = 0.0;   ///< seconds by which both eyes start later
  double sound_offset = 0.0;   ///< seconds by which the sound starts later
  double delay = 0.0;          ///< seconds by which every track starts later
  double metadata_edit = 0.0;  ///< media time at which the edit list of the metadata track begins
  int drop_right = -1;         ///< the frame that the right eye's track lacks; none when negative
  double jump = 0.0;           ///< seconds by which the second half of both eyes' frames is late
  int quarter_turns = 0;       ///< clockwise turns in the display matrix of the video tracks
  bool bad_interleaving = false;
  bool index_first = false;
  std::uint64_t hole_bytes = 0;
  std::string malformed;  ///< name of a malformation; empty for none
  std::string encoder_program = packaged_encoder_beside_program();

  [[nodiscard]] int frame_count() const;
  [[nodiscard]] double frame_time(int frame) const;
  /// One frame per second, half a second after each full second.
  [[nodiscard]] bool is_flash(int frame) const;
  [[nodiscard]] ColourCoding coding() const;
};

/// Reads the command line; false with one message in `error`. Sets `help` if only the usage was asked for.
[[nodiscard]] bool parse_recording_plan(const std::vector<std::string>& arguments, RecordingPlan& plan,
                                        bool& help, std::string& error);

/// The usage text, malformations included.
std::string recording_usage();

}  // namespace veyrin::recordings
