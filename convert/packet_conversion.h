// The part of a conversion that runs through the recording: turns its packets into frames and sound of the
// movie.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "convert/conversion_input.h"
#include "convert/pair_conversion.h"
#include "convert/trim_seek.h"
#include "decode/stereo_decoder.h"
#include "media/ffmpeg.h"

namespace veyrin {

/// The demuxer hands packets out nearly in time order, so an eye that waits for this many packets of the
/// other one (over eight seconds even at 60 frames per second) either has none left or has a gap.
inline constexpr std::size_t patience_packets = 512;

/// Follows one track's packets and tells by the container's index when none can follow.
class TrackEnd {
 public:
  /// Notes a demuxed packet of the track.
  void saw_packet(const AVPacket& packet) { last_dts_ = packet.dts; }

  /// True when the index of `stream` holds nothing after the packets seen so far. An index may still grow in
  /// fragmented files, so there it tells something only of tracks that have been silent for
  /// `patience_packets`.
  [[nodiscard]] bool reached(AVStream& stream) const;

 private:
  std::optional<std::int64_t> last_dts_;
};

/// Borrows everything it is made of for as long as it lives.
class PacketConversion {
 public:
  PacketConversion(const ConversionInput& input, const TimeRange& range, StereoDecoder& decoder,
                   PairConversion& pairs, MovieSink& movie)
      : input_(input),
        range_(range),
        decoder_(decoder),
        pairs_(pairs),
        movie_(movie),
        audio_done_(!movie.accepts_audio()) {}

  /// Converts all that is wanted of the recording, but does not finish the movie. False with one message in
  /// `error` on failure, also when no frame was written.
  [[nodiscard]] bool run(std::string& error);

 private:
  [[nodiscard]] bool seek_near_start(std::string& error);
  [[nodiscard]] bool convert_packets(std::string& error);
  [[nodiscard]] bool handle_packet(AVPacket& packet, std::string& error);
  [[nodiscard]] bool copy_audio(AVPacket& packet, std::string& error);
  [[nodiscard]] bool sound_has_ended();
  [[nodiscard]] bool is_before_seek_point(const AVPacket& packet) const;
  [[nodiscard]] bool eye_is_missing() const;
  [[nodiscard]] bool convert_last_pairs(std::string& error);
  [[nodiscard]] bool convert_ready_pairs(std::string& error);
  [[nodiscard]] bool video_done() const { return video_ended_ || pairs_.finished(); }

  const ConversionInput& input_;
  TimeRange range_;
  StereoDecoder& decoder_;
  PairConversion& pairs_;
  MovieSink& movie_;
  std::optional<TrimSeek> seek_;
  TrackEnd left_end_;
  TrackEnd right_end_;
  TrackEnd sound_end_;
  std::optional<bool> sound_end_is_known_;  // asked on first need
  bool video_ended_ = false;                // no pair can follow
  bool audio_done_;
};

}  // namespace veyrin
