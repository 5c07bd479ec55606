#include "join/sound_place.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "common/console.h"
#include "common/error_text.h"
#include "common/platform/files.h"
#include "join/recording_pairs.h"
#include "media/recording_input.h"

namespace veyrin {
namespace {

// Times are rounded to the clocks of two containers and, by the packaged encoder, to microseconds.
constexpr double tolerance_seconds = 0.001;
// More of a piece tells no more; silence, whose packets are all alike, is seldom longer.
constexpr double looked_at_seconds = 10.0;
// What of the recording is read around the same time.
constexpr double margin_seconds = 2.0;

/// The packets of one track from about `from` on and before `until`, in seconds of the file's clock; nothing
/// with one message in `error` on failure.
[[nodiscard]] std::optional<std::vector<HeardPacket>> read_sound(AVFormatContext& file, int stream,
                                                                 double from, double until,
                                                                 const std::string& failure,
                                                                 std::string& error) {
  const AVRational time_base = file.streams[stream]->time_base;
  read_only_streams(file, std::array{stream});
  // Before its first packet it stays at that one.
  const std::int64_t target = std::llround(from / av_q2d(time_base));
  int result = av_seek_frame(&file, stream, target, AVSEEK_FLAG_BACKWARD);
  std::vector<HeardPacket> packets;
  const PacketPtr packet(av_packet_alloc());
  if (!packet) result = AVERROR(ENOMEM);
  while (result >= 0) {
    result = read_packet(file, *packet);
    if (result == AVERROR_EOF) return packets;
    if (result < 0) break;
    const bool wanted = packet->stream_index == stream && packet->pts != AV_NOPTS_VALUE;
    const double seconds = static_cast<double>(packet->pts) * av_q2d(time_base);
    if (wanted && seconds >= until) return packets;
    if (wanted)
      packets.push_back(
          {std::string(reinterpret_cast<const char*>(packet->data), static_cast<std::size_t>(packet->size)),
           seconds});
    av_packet_unref(packet.get());
  }
  error = with_library_error(failure, result);
  return std::nullopt;
}

/// The beginning of a piece's sound; no packets when it has none.
[[nodiscard]] std::optional<std::vector<HeardPacket>> read_piece(const MoviePiece& piece,
                                                                 std::string& error) {
  const std::string failure = "could not read " + platform::path_to_utf8(piece.path);
  const auto file = open_recording(piece.path, {.probe_streams = false}, {failure, failure}, error);
  if (!file) return std::nullopt;
  const int track = first_audio_stream(*file);
  if (track < 0) return std::vector<HeardPacket>{};
  return read_sound(*file, track, 0.0, looked_at_seconds, failure, error);
}

/// Samples without compression are put together into packets in each file's own way.
bool has_packets_of_its_own(const AVStream& sound) {
  return av_get_exact_bits_per_sample(sound.codecpar->codec_id) == 0;
}

}  // namespace

std::size_t count_shifted(const std::vector<HeardPacket>& piece, const std::vector<HeardPacket>& recording,
                          double shift) {
  const auto is_there = [&](const HeardPacket& packet) {
    const double expected = packet.seconds + shift;
    auto near = std::ranges::lower_bound(recording, expected - tolerance_seconds, {}, &HeardPacket::seconds);
    for (; near != recording.end() && near->seconds <= expected + tolerance_seconds; ++near)
      if (near->data == packet.data) return true;
    return false;
  };
  return static_cast<std::size_t>(std::ranges::count_if(piece, is_there));
}

std::optional<double> find_sound_origin(const std::vector<MoviePiece>& pieces,
                                        const std::filesystem::path& recording, double start,
                                        double other_origin, std::string& error) {
  // What is noticed about the recording stands in its conversions' reports.
  const ConsoleSilence silence;
  const auto opened = open_joined_recording(recording, error);
  if (!opened) return std::nullopt;
  const AVStream* sound = opened->input.audio();
  if (sound == nullptr || !has_packets_of_its_own(*sound)) return 0.0;
  std::size_t from_zero = 0;
  std::size_t from_other = 0;
  for (const MoviePiece& piece : pieces) {
    const auto heard = read_piece(piece, error);
    const auto there =
        heard ? read_sound(*opened->input.context, opened->input.audio_stream,
                           start + std::min(other_origin, 0.0) - margin_seconds,
                           start + std::max(other_origin, 0.0) + looked_at_seconds + margin_seconds,
                           "could not read an input packet", error)
              : std::nullopt;
    if (!there) return std::nullopt;
    const std::size_t at_zero = count_shifted(*heard, *there, start);
    const std::size_t at_other = count_shifted(*heard, *there, start + other_origin);
    if (!heard->empty() && at_zero == 0 && at_other == 0) {
      error = "could not join " + platform::path_to_utf8(piece.path) +
              ": its sound is not the recording's at its place (are the pieces in order?)";
      return std::nullopt;
    }
    from_zero += at_zero;
    from_other += at_other;
    start += static_cast<double>(piece.frames) / av_q2d(piece.rate());
  }
  return from_other > from_zero ? other_origin : 0.0;
}

}  // namespace veyrin
