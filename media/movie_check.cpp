#include "media/movie_check.h"

#include <cerrno>
#include <string_view>
#include <system_error>

#include "media/recording_input.h"

namespace veyrin {
namespace {

/// The file's index as it stands, without the picks of its edit lists; null with FFmpeg's code.
InputContextPtr open_index(const std::filesystem::path& file, int& code) {
  Dictionary options;
  code = options.set("ignore_editlist", "1");
  return code >= 0 ? open_demuxer(media_url(file), options, code) : nullptr;
}

bool has_stereo_description(const AVCodecParameters& parameters) {
  return av_packet_side_data_get(parameters.coded_side_data, parameters.nb_coded_side_data,
                                 AV_PKT_DATA_STEREO3D) != nullptr;
}

/// Uncompressed sound is indexed by the chunk; a packet of other sound may become several samples.
bool has_samples_of(const AVCodecParameters& parameters, std::int64_t packets, int samples) {
  if (parameters.codec_type == AVMEDIA_TYPE_VIDEO) return samples == packets;
  return av_get_bits_per_sample(parameters.codec_id) == 0 ? samples >= packets : samples > 0;
}

/// MP4 has one number for all layers of MPEG sound; only a parser tells them apart.
AVCodecID codec_in_container(AVCodecID codec) {
  return codec == AV_CODEC_ID_MP1 || codec == AV_CODEC_ID_MP2 ? AV_CODEC_ID_MP3 : codec;
}

bool is_as_written(AVStream& read, const TrackContent& written) {
  const AVCodecParameters& parameters = *written.parameters;
  const int samples = avformat_index_get_entries_count(&read);
  return has_samples_of(parameters, written.packets, samples) &&
         codec_in_container(read.codecpar->codec_id) == codec_in_container(parameters.codec_id) &&
         (parameters.extradata_size == 0 || read.codecpar->extradata_size > 0) &&
         (!has_stereo_description(parameters) || has_stereo_description(*read.codecpar));
}

}  // namespace

int check_movie_index(const std::filesystem::path& file, std::span<const TrackContent> tracks) {
  std::error_code unknown;
  const auto type = std::filesystem::status(file, unknown).type();
  if (type == std::filesystem::file_type::not_found) return AVERROR(ENOENT);
  if (type != std::filesystem::file_type::regular) return 0;
  int code = 0;
  const InputContextPtr movie = open_index(file, code);
  if (!movie) return code;
  unsigned next = 0;
  for (const TrackContent& track : tracks) {
    // Muxers leave out tracks that got nothing.
    if (track.packets == 0) continue;
    if (next == movie->nb_streams || !is_as_written(*movie->streams[next], track)) return AVERROR_INVALIDDATA;
    ++next;
  }
  return 0;
}

std::optional<std::int64_t> count_pictures(const std::filesystem::path& file) {
  int code = 0;
  const InputContextPtr movie = open_index(file, code);
  if (!movie || !std::string_view(movie->iformat->name).starts_with("mov,")) return std::nullopt;
  for (unsigned i = 0; i < movie->nb_streams; ++i) {
    AVStream* stream = movie->streams[i];
    if (stream->codecpar->codec_type == AVMEDIA_TYPE_VIDEO) return avformat_index_get_entries_count(stream);
  }
  return 0;
}

}  // namespace veyrin
