// Opens recordings and movies for reading and finds their streams.
#pragma once

#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "media/ffmpeg.h"

namespace veyrin {

/// Opens a demuxer for a file's URL (`media_url`) and reads its header; null, with FFmpeg's error code in
/// `code`, on failure.
[[nodiscard]] InputContextPtr open_demuxer(const std::string& url, Dictionary& options, int& code);

/// How a file is opened.
struct InputWishes {
  /// Reads into the file for what its header leaves open. Without it only the header is read, which names the
  /// streams and their codecs.
  bool probe_streams = true;
  /// Ignores the edit lists of a recording that is still being written, as `open_input_options` does.
  bool growing_recordings = false;
};

/// The user's words for the two steps of opening.
struct InputMessages {
  std::string_view open;
  std::string_view read_streams;
  bool with_reason = true;  ///< FFmpeg's description of the failure follows
};

/// Opens a file and, if wished, finds out what its streams hold; null with one message in `error` on failure.
[[nodiscard]] InputContextPtr open_recording(const std::filesystem::path& input, const InputWishes& wishes,
                                             const InputMessages& messages, std::string& error);

/// Fills the options for `avformat_open_input`: a recording that is still being written (".mp4.partial") has
/// edit lists that do not match its samples yet, so they are ignored; others open without options. Negative
/// is FFmpeg's error code.
[[nodiscard]] int open_input_options(const std::filesystem::path& input, Dictionary& options);

/// Makes the demuxer drop the packets of every other stream without reading them.
void read_only_streams(AVFormatContext& input, std::span<const int> streams);

/// The stream index of the N-th video stream, counting video streams only from 0; -1 when there is none.
[[nodiscard]] int stream_index_of_video_track(const AVFormatContext& input, int track);

/// The index of the first audio stream; -1 when there is none.
[[nodiscard]] int first_audio_stream(const AVFormatContext& input);

/// Reads the next packet; a negative result is FFmpeg's error code, AVERROR_EOF at the end. Demuxers take a
/// failure to read for the end of the file; here it is the failure.
[[nodiscard]] int read_packet(AVFormatContext& input, AVPacket& packet);

/// Clockwise quarter turns (0..3) that the stream's display matrix asks for; nothing without a usable matrix.
[[nodiscard]] std::optional<int> display_rotation_quarter_turns(const AVStream& stream);

}  // namespace veyrin
