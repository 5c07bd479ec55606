// The part of a conversion that runs through the recording: opens it, and turns its packets into frames and
// sound of the movie.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "convert/conversion_plan.h"
#include "convert/pair_conversion.h"
#include "decode/stereo_decoder.h"
#include "media/ffmpeg.h"

namespace veyrin {

/// Streams are named by their indices.
struct ConversionInput {
  InputContextPtr context;
  int left_stream = -1;  ///< both eyes' are equal when one camera serves both
  int right_stream = -1;
  int audio_stream = -1;  ///< the first audio stream; -1 when there is none

  /// The stream whose sound is copied; null when there is none.
  [[nodiscard]] const AVStream* audio() const {
    return audio_stream >= 0 ? context->streams[audio_stream] : nullptr;
  }
};

/// Opens the job's recording, or makes streams of the synthetic properties, and finds both eyes' streams.
/// Every other stream is discarded at the demuxer. Nothing with one message in `error` on failure.
[[nodiscard]] std::optional<ConversionInput> open_conversion_input(const ConversionJob& job,
                                                                   const RecordingMetadata& metadata,
                                                                   std::string& error);

/// What the opened streams tell; `depth` is the left eye's.
InputFacts input_facts(const ConversionInput& input, BitDepth depth);

/// The demuxer hands packets out nearly in time order, so an eye that waits for this many packets of the
/// other one (over eight seconds even at 60 frames per second) either has none left or has a gap.
inline constexpr std::size_t patience_packets = 512;

/// Follows one eye's packets and tells by the container's index when none can follow.
class TrackEnd {
 public:
  /// Notes a demuxed packet of the track.
  void saw_packet(const AVPacket& packet) { last_dts_ = packet.dts; }

  /// True when the index of `stream` holds nothing after the packets seen so far. An index may still grow in
  /// fragmented files, so this is meant for tracks that have been silent for `patience_packets`.
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
  [[nodiscard]] bool convert_packets(std::string& error);
  [[nodiscard]] bool handle_packet(AVPacket& packet, std::string& error);
  [[nodiscard]] bool copy_audio(AVPacket& packet, std::string& error);
  [[nodiscard]] bool eye_is_missing() const;
  [[nodiscard]] bool convert_last_pairs(std::string& error);
  [[nodiscard]] bool convert_ready_pairs(std::string& error);
  [[nodiscard]] bool video_done() const { return video_ended_ || pairs_.finished(); }

  const ConversionInput& input_;
  TimeRange range_;
  StereoDecoder& decoder_;
  PairConversion& pairs_;
  MovieSink& movie_;
  TrackEnd left_end_;
  TrackEnd right_end_;
  bool video_ended_ = false;  // no pair can follow
  bool audio_done_;
};

}  // namespace veyrin
