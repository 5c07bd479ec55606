// Where the packets of a joined movie come from: pictures from its pieces, sound from the recording.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "join/movie_piece.h"
#include "media/ffmpeg.h"
#include "media/video_types.h"

namespace veyrin {

/// Whether there was a packet.
enum class Taken { packet, end, failed };

/// The pictures of all pieces, with the times that they have in the joined movie, in the pieces' time base.
class PictureSource {
 public:
  /// The pieces, of the same kind and closed, are borrowed. Each one is open while it is read.
  explicit PictureSource(std::vector<MoviePiece>& pieces);

  /// Reads the next picture into `packet`, which is empty; on failure one message in `error`.
  [[nodiscard]] Taken take(AVPacket& packet, std::string& error);

 private:
  [[nodiscard]] bool place(AVPacket& packet, std::string& error);

  std::vector<MoviePiece>& pieces_;
  std::size_t piece_ = 0;
  std::int64_t most_delay_ = 0;     // ticks from a picture's decoding to when the first one is shown
  std::int64_t frames_before_ = 0;  // in earlier pieces
  std::vector<bool> shown_;         // of this piece's frames, those that have been read
  std::int64_t pictures_read_ = 0;  // of this piece
};

/// The recording's sound as the converter copies it.
class SoundSource {
 public:
  /// Borrows the opened recording, of which it reads the stream of this index only; -1: no sound. `range` is
  /// the movie's.
  SoundSource(AVFormatContext& recording, int stream, const TimeRange& range);

  /// Reads the next packet of the movie's sound into `packet`, which is empty, its times in the recording's
  /// time base; on failure one message in `error`.
  [[nodiscard]] Taken take(AVPacket& packet, std::string& error);

 private:
  AVFormatContext& recording_;
  int stream_;
  TimeRange range_;
};

}  // namespace veyrin
