#include "join/packet_sources.h"

#include <algorithm>
#include <array>

#include "common/error_text.h"
#include "common/platform/files.h"
#include "convert/recorded_sound.h"
#include "media/recording_input.h"

namespace veyrin {

PictureSource::PictureSource(std::vector<MoviePiece>& pieces) : pieces_(pieces) {
  for (const MoviePiece& piece : pieces) most_delay_ = std::max(most_delay_, -piece.first_dts);
}

Taken PictureSource::take(AVPacket& packet, std::string& error) {
  while (piece_ < pieces_.size()) {
    MoviePiece& piece = pieces_[piece_];
    if (!piece.context) {
      if (!open_pictures(piece, error)) return Taken::failed;
      shown_.assign(static_cast<std::size_t>(piece.frames), false);
      pictures_read_ = 0;
    }
    const std::string failure = "could not read " + platform::path_to_utf8(piece.path);
    const int result = read_packet(*piece.context, packet);
    if (result >= 0) {
      if (packet.stream_index == piece.video->index)
        return place(packet, error) ? Taken::packet : Taken::failed;
      av_packet_unref(&packet);
      continue;
    }
    if (result != AVERROR_EOF) {
      error = with_library_error(failure, result);
      return Taken::failed;
    }
    if (pictures_read_ != piece.frames) {
      error = failure + ": it ends after " + std::to_string(pictures_read_) + " of " +
              std::to_string(piece.frames) + " frames";
      return Taken::failed;
    }
    frames_before_ += piece.frames;
    piece.close();
    ++piece_;
  }
  return Taken::end;
}

// Each picture has its frame's time behind the frames of earlier pieces. It is decoded as long before as in
// its piece, longer only where another piece reorders its pictures over more frames.
bool PictureSource::place(AVPacket& packet, std::string& error) {
  const MoviePiece& piece = pieces_[piece_];
  const std::string failure = "could not join " + platform::path_to_utf8(piece.path) + ": ";
  if ((packet.flags & AV_PKT_FLAG_CORRUPT) != 0) return fail(error, failure + "it has a damaged picture");
  const std::int64_t frame = packet.pts / piece.frame_ticks;
  const bool fits = packet.pts != AV_NOPTS_VALUE && packet.dts != AV_NOPTS_VALUE && packet.pts >= 0 &&
                    packet.pts % piece.frame_ticks == 0 && frame < piece.frames &&
                    !shown_[static_cast<std::size_t>(frame)] &&
                    packet.dts == piece.first_dts + pictures_read_ * piece.frame_ticks;
  if (!fits) return fail(error, failure + "its pictures do not follow each other evenly");
  shown_[static_cast<std::size_t>(frame)] = true;
  ++pictures_read_;
  const std::int64_t offset = frames_before_ * piece.frame_ticks;
  packet.pts += offset;
  packet.dts += offset - (most_delay_ + piece.first_dts);
  packet.duration = piece.frame_ticks;
  return true;
}

SoundSource::SoundSource(AVFormatContext& recording, int stream, const TimeRange& range)
    : recording_(recording), stream_(stream), range_(range) {
  read_only_streams(recording_, std::array{stream_});
}

Taken SoundSource::take(AVPacket& packet, std::string& error) {
  if (stream_ < 0) return Taken::end;
  while (true) {
    const int result = read_packet(recording_, packet);
    if (result == AVERROR_EOF) return Taken::end;
    if (result < 0) {
      error = with_library_error("could not read an input packet", result);
      return Taken::failed;
    }
    if (packet.stream_index == stream_) {
      const AudioDecision decision =
          trim_sound_packet(packet, recording_.streams[stream_]->time_base, range_);
      if (decision == AudioDecision::copy) return Taken::packet;
      if (decision == AudioDecision::done) stream_ = -1;
    }
    av_packet_unref(&packet);
    if (stream_ < 0) return Taken::end;
  }
}

}  // namespace veyrin
