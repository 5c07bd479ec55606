// A movie file being written: its container, its tracks, its header, its packets and its end; and whether a
// finished one is all there.
#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "common/platform/output_file.h"
#include "media/ffmpeg.h"

namespace veyrin {

/// The muxer for the file's name when it can hold the codec; else the codec's home: "mov" for ProRes, "mp4"
/// for the others, because an exact output name is honoured whatever its extension. Null when this FFmpeg
/// lacks that muxer.
const AVOutputFormat* choose_container(const std::filesystem::path& output, AVCodecID codec);

/// True for MP4 and QuickTime, whose tracks can carry an st3d box.
bool is_mp4_family(const AVOutputFormat& container);

/// The parameters of an open encoder's stream, for a track; a negative result is FFmpeg's error code.
[[nodiscard]] int copy_parameters(const AVCodecContext& encoder, CodecParametersPtr& parameters);

/// Where a movie goes.
struct MovieTarget {
  std::filesystem::path path;
  /// `create` fails when anything has the name; `replace` empties an existing file.
  platform::OutputFile::Opening opening = platform::OutputFile::Opening::create;
};

/// The user's words for a failing step.
struct FailureText {
  std::string_view text;
  bool with_reason = true;  ///< FFmpeg's description of the failure follows
};

/// The user's words for each step up to and behind the packets.
struct MovieMessages {
  FailureText create;  ///< the container
  std::string_view add_video;
  FailureText configure_video;
  std::string_view add_copy;  ///< a track that is copied from another file
  FailureText configure_copy;
  FailureText open;  ///< the file
  FailureText write_header;
  FailureText finish;
};

class MovieIo;

/// Use: `create`, the `add_..._track` functions, `write_header`, `write` for each packet, `finish`. Tracks
/// are named by the numbers that the `add_..._track` functions give. Destroying an unfinished movie closes
/// its file and leaves it as it is; when it is a new one into which no picture was written, it is removed.
class MovieFile {
 public:
  /// Prepares a movie in `container`, or, when that is null, in the one that the name asks for. Nothing is
  /// opened yet. Null with one message in `error` on failure. What the messages refer to must outlive the
  /// movie.
  [[nodiscard]] static std::unique_ptr<MovieFile> create(MovieTarget target, const AVOutputFormat* container,
                                                         const MovieMessages& messages, std::string& error);
  ~MovieFile();
  MovieFile(const MovieFile&) = delete;
  MovieFile& operator=(const MovieFile&) = delete;

  /// Adds a track for the packets of an encoder: times in `time_base`, and a duration of 1 for those that
  /// have none. HEVC gets the tag that players of the MP4 family want.
  [[nodiscard]] std::optional<int> add_video_track(const AVCodecParameters& parameters, AVRational time_base,
                                                   FrameRate rate, std::string& error);

  /// Adds a track for the copied packets of a source's sound, times in `time_base`.
  [[nodiscard]] std::optional<int> add_audio_track(const AVCodecParameters& parameters, AVRational time_base,
                                                   std::string& error);

  /// Adds a track that takes over everything the source's track says of itself.
  [[nodiscard]] std::optional<int> add_copied_track(const AVStream& source, std::string& error);

  /// Takes over the source's titles and chapters; negative is FFmpeg's error code.
  [[nodiscard]] int copy_description(const AVFormatContext& source);

  /// Lets the muxer write boxes that are no part of the MP4 standard, such as st3d.
  void allow_unofficial_boxes() { muxer_->strict_std_compliance = FF_COMPLIANCE_UNOFFICIAL; }

  /// The track as the header will describe it; its time base is the muxer's choice once the header is
  /// written.
  [[nodiscard]] AVStream& stream(int track) { return *muxer_->streams[track]; }
  [[nodiscard]] const AVOutputFormat& container() const { return *muxer_->oformat; }

  /// Opens the file and writes the header with `options` of the muxer.
  [[nodiscard]] bool write_header(Dictionary& options, std::string& error);

  /// True once this movie has opened its file, and so perhaps changed one of that name.
  [[nodiscard]] bool opened_file() const { return opened_file_; }

  /// Writes one packet, whose times count in the time base of its track's source. The packet is consumed.
  [[nodiscard]] bool write(int track, AVPacket& packet, FailureText failure, std::string& error);

  /// Writes what is pending and the index, closes the file, and checks that the index names all that was
  /// written.
  [[nodiscard]] bool finish(std::string& error);

 private:
  struct Source {
    AVRational time_base;
    std::int64_t default_duration;  ///< of packets without one, in the time base
    std::int64_t packets = 0;       ///< written so far
  };

  MovieFile(MovieTarget target, const MovieMessages& messages);
  [[nodiscard]] AVStream* add_stream(Source source, const AVCodecParameters& parameters,
                                     std::string_view addition, FailureText configuration,
                                     std::string& error);
  [[nodiscard]] int check_index() const;

  MovieTarget target_;
  MovieMessages messages_;
  std::unique_ptr<MovieIo> io_;  // null until the header is written
  OutputContextPtr muxer_;
  std::vector<Source> sources_;  // by track
  bool opened_file_ = false;
  bool has_pictures_ = false;
  bool finished_ = false;
};

/// True for an empty file and for one of the MP4 family (ISO/IEC 14496-12) whose boxes end beyond its end or
/// that has no index ("moov"): what a full disk leaves. False for all others, files of other formats and
/// absent ones included.
bool is_cut_off_movie(const std::filesystem::path& file);

}  // namespace veyrin
