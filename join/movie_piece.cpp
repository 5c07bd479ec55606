#include "join/movie_piece.h"

#include <array>
#include <limits>
#include <string_view>
#include <system_error>

#include "common/error_text.h"
#include "common/platform/files.h"
#include "join/codec_configuration.h"
#include "media/movie_file.h"
#include "media/recording_input.h"

extern "C" {
#include <libavutil/pixdesc.h>
}

namespace veyrin {
namespace {

[[nodiscard]] bool refuse(const std::filesystem::path& piece, const std::string& reason, std::string& error) {
  return fail(error, "could not join " + platform::path_to_utf8(piece) + ": " + reason);
}

std::string open_failure(const std::filesystem::path& piece) {
  return "could not open " + platform::path_to_utf8(piece);
}

std::string ratio_text(AVRational ratio) {
  return std::to_string(ratio.num) + "/" + std::to_string(ratio.den);
}

std::string text_or(const char* name, const char* other) {
  return name != nullptr ? name : other;
}

/// Finds the video track; false unless it is the only one.
[[nodiscard]] bool find_video(MoviePiece& piece, std::string& error) {
  const AVFormatContext& movie = *piece.context;
  if (!std::string_view(movie.iformat->name).starts_with("mov,"))
    return refuse(piece.path, "it is no MP4 or QuickTime movie", error);
  const int index = stream_index_of_video_track(movie, 0);
  if (index < 0 || stream_index_of_video_track(movie, 1) >= 0)
    return refuse(piece.path, "it has not exactly one video track", error);
  piece.video = movie.streams[index];
  piece.time_base = piece.video->time_base;
  return true;
}

/// Goes through the index: all samples there, one like the other.
[[nodiscard]] bool measure(MoviePiece& piece, std::string& error) {
  std::error_code unknown;
  const std::uint64_t file_size = std::filesystem::file_size(piece.path, unknown);
  if (unknown) return refuse(piece.path, unknown.message(), error);
  piece.frames = avformat_index_get_entries_count(piece.video);
  if (piece.frames == 0) return refuse(piece.path, "it has no pictures", error);
  std::int64_t last_dts = 0;
  for (int i = 0; i < static_cast<int>(piece.frames); ++i) {
    const AVIndexEntry* entry = avformat_index_get_entry(piece.video, i);
    const bool present =
        entry != nullptr && entry->pos >= 0 && entry->size > 0 &&
        static_cast<std::uint64_t>(entry->pos) + static_cast<std::uint64_t>(entry->size) <= file_size;
    if (!present) return refuse(piece.path, "it is cut off", error);
    if (i == 0) piece.first_dts = entry->timestamp;
    if (i == 1) piece.frame_ticks = entry->timestamp - last_dts;
    if (i > 1 && entry->timestamp - last_dts != piece.frame_ticks)
      return refuse(piece.path, "its pictures do not follow each other evenly", error);
    last_dts = entry->timestamp;
  }
  if (piece.frames == 1) piece.frame_ticks = piece.video->duration;
  if (piece.frame_ticks < 1 || piece.first_dts > 0)
    return refuse(piece.path, "its pictures do not follow each other evenly", error);
  if (piece.video->duration == piece.frames * piece.frame_ticks) return true;
  return refuse(piece.path,
                "it has " + std::to_string(piece.frames) + " frames, but its duration is that of " +
                    std::to_string(piece.video->duration / piece.frame_ticks),
                error);
}

std::string container(const MoviePiece& piece) {
  return piece.is_quicktime() ? "QuickTime" : "MP4";
}

std::string codec(const MoviePiece& piece) {
  const AVCodecParameters& video = *piece.video->codecpar;
  char tag[AV_FOURCC_MAX_STRING_SIZE] = {};
  return std::string(avcodec_get_name(video.codec_id)) + " " +
         text_or(avcodec_profile_name(video.codec_id, video.profile), "of unknown profile") + " (" +
         av_fourcc_make_string(tag, video.codec_tag) + ")";
}

std::string size(const MoviePiece& piece) {
  const AVCodecParameters& video = *piece.video->codecpar;
  return std::to_string(video.width) + "x" + std::to_string(video.height);
}

std::string pixel_shape(const MoviePiece& piece) {
  return ratio_text(piece.video->sample_aspect_ratio);
}

std::string pixel_format(const MoviePiece& piece) {
  return pixel_format_name(piece.video->codecpar->format);
}

std::string colours(const MoviePiece& piece) {
  const AVCodecParameters& video = *piece.video->codecpar;
  return text_or(av_color_primaries_name(video.color_primaries), "?") + " " +
         text_or(av_color_transfer_name(video.color_trc), "?") + " " +
         text_or(av_color_space_name(video.color_space), "?") + " " +
         text_or(av_color_range_name(video.color_range), "?") + " " +
         text_or(av_chroma_location_name(video.chroma_location), "?");
}

std::string frame_rate(const MoviePiece& piece) {
  return ratio_text(piece.rate());
}

std::string time_scale(const MoviePiece& piece) {
  return ratio_text(piece.time_base);
}

/// Not for people: the bytes of the records.
std::string stereo_description(const MoviePiece& piece) {
  const AVCodecParameters& video = *piece.video->codecpar;
  std::string text = piece.is_spatial() ? "two views" : "one view";
  for (const AVPacketSideDataType type :
       {AV_PKT_DATA_STEREO3D, AV_PKT_DATA_SPHERICAL, AV_PKT_DATA_3D_REFERENCE_DISPLAYS}) {
    const AVPacketSideData* record =
        av_packet_side_data_get(video.coded_side_data, video.nb_coded_side_data, type);
    text += "\n";
    if (record != nullptr) text.append(reinterpret_cast<const char*>(record->data), record->size);
  }
  return text;
}

std::string codec_configuration(const MoviePiece& piece) {
  return parameter_sets_of(*piece.video->codecpar);
}

/// Something in which all pieces must be alike.
struct Trait {
  const char* name;
  std::string (*of)(const MoviePiece& piece);
  bool readable = true;  ///< its text is for people
};

constexpr std::array traits{
    Trait{"container", container},
    Trait{"codec", codec},
    Trait{"picture size", size},
    Trait{"pixel format", pixel_format},
    Trait{"pixel shape", pixel_shape},
    Trait{"frame rate", frame_rate},
    Trait{"time base", time_scale},
    Trait{"colour description", colours},
    Trait{"stereo description", stereo_description, false},
    Trait{"codec configuration", codec_configuration, false},
};

}  // namespace

FrameRate MoviePiece::rate() const {
  FrameRate rate{};
  av_reduce(&rate.num, &rate.den, time_base.den, frame_ticks * time_base.num,
            std::numeric_limits<int>::max());
  return rate;
}

bool MoviePiece::is_quicktime() const {
  const AVDictionaryEntry* brand = av_dict_get(context->metadata, "major_brand", nullptr, 0);
  return brand != nullptr && std::string_view(brand->value) == "qt  ";
}

bool MoviePiece::is_spatial() const {
  return (video->disposition & AV_DISPOSITION_MULTILAYER) != 0;
}

void MoviePiece::close() {
  video = nullptr;
  context.reset();
}

std::optional<MoviePiece> open_piece(const std::filesystem::path& path, std::string& error) {
  MoviePiece piece{.path = path};
  if (is_cut_off_movie(path)) {
    static_cast<void>(refuse(path, "it is cut off", error));
    return std::nullopt;
  }
  const std::string failure = open_failure(path);
  piece.context = open_recording(path, {.probe_streams = false}, {failure, failure}, error);
  if (!piece.context || !find_video(piece, error)) return std::nullopt;
  // Probing also fills in the field order, which the file does not state; the joined one must not state it
  // either.
  const AVFieldOrder field_order = piece.video->codecpar->field_order;
  if (const int result = avformat_find_stream_info(piece.context.get(), nullptr); result < 0) {
    error = with_library_error(failure, result);
    return std::nullopt;
  }
  piece.video->codecpar->field_order = field_order;
  if (!measure(piece, error)) return std::nullopt;
  return piece;
}

bool open_pictures(MoviePiece& piece, std::string& error) {
  const std::string failure = open_failure(piece.path);
  piece.context = open_recording(piece.path, {.probe_streams = false}, {failure, failure}, error);
  if (!piece.context || !find_video(piece, error)) return false;
  read_only_streams(*piece.context, std::array{piece.video->index});
  return true;
}

bool check_same_kind(const MoviePiece& first, const MoviePiece& piece, std::string& error) {
  for (const Trait& trait : traits) {
    const std::string expected = trait.of(first);
    const std::string found = trait.of(piece);
    if (found == expected) continue;
    std::string reason =
        std::string("its ") + trait.name + " differs from that of " + platform::path_to_utf8(first.path);
    if (trait.readable) reason.append(" (").append(found).append(" instead of ").append(expected).append(")");
    return refuse(piece.path, reason, error);
  }
  return true;
}

}  // namespace veyrin
